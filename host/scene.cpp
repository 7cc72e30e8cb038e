#include "host/scene.h"
#include "helpers/units.h"

#include <cmath>
#include <cstring>

namespace {


using Vec3 = std::array<double, 3>;
using Rows = std::array<Vec3, 3>;  // right, up, forward

struct WorldFrame {
    Vec3 position;  // where the item's pivot sits in the world
    Rows rows;      // the item's axes in world coordinates, scaled
};

// Unit right, up and forward of a heading-pitch-bank turn, in the parent's frame
// (rows of Rz(bank) * Rx(pitch) * Ry(heading), row vectors).
Rows RotationRows(double h, double p, double b) {
    double sh = std::sin(h), ch = std::cos(h), sp = std::sin(p), cp = std::cos(p), sb = std::sin(b), cb = std::cos(b);
    return {{{ch * cb + sh * sp * sb, cp * sb, -sh * cb + ch * sp * sb},
             {-ch * sb + sh * sp * cb, cp * cb, sh * sb + ch * sp * cb},
             {sh * cp, -sp, ch * cp}}};
}

Vec3 Times(const Vec3 &v, const Rows &rows) {
    Vec3 r{};
    for (int j = 0; j < 3; ++j) r[j] = v[0] * rows[0][j] + v[1] * rows[1][j] + v[2] * rows[2][j];
    return r;
}

WorldFrame World(const Scene &scene, const Item &item, double time) {
    double placed[Scene::kPlacementValues];
    scene.Placement(item, time, placed);
    WorldFrame w;
    for (int j = 0; j < 3; ++j) w.position[j] = placed[j];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) w.rows[i][j] = placed[3 + 3 * i + j];
    return w;
}

// Rows of the inverse of a 3x3 matrix given by rows; zero for a singular one.
Rows Inverse(const Rows &m) {
    Rows c{};
    c[0] = {m[1][1] * m[2][2] - m[1][2] * m[2][1], m[0][2] * m[2][1] - m[0][1] * m[2][2],
            m[0][1] * m[1][2] - m[0][2] * m[1][1]};
    c[1] = {m[1][2] * m[2][0] - m[1][0] * m[2][2], m[0][0] * m[2][2] - m[0][2] * m[2][0],
            m[0][2] * m[1][0] - m[0][0] * m[1][2]};
    c[2] = {m[1][0] * m[2][1] - m[1][1] * m[2][0], m[0][1] * m[2][0] - m[0][0] * m[2][1],
            m[0][0] * m[1][1] - m[0][1] * m[1][0]};
    double det = m[0][0] * c[0][0] + m[0][1] * c[1][0] + m[0][2] * c[2][0];
    if (det == 0) return {};
    for (Vec3 &row : c)
        for (double &x : row) x /= det;
    return c;
}

Item &NewItem(std::vector<std::unique_ptr<Item>> &list, LWItemType type, const std::string &name) {
    list.push_back(std::make_unique<Item>());
    Item &item = *list.back();
    item.type = type;
    item.name = name;
    item.SetRest({0, 0, 0});
    return item;
}

}  // namespace

void Item::SetEndBehavior(EndBehavior end) {
    for (Channel &c : motion) c.end = end;
}

void Item::SetRest(std::array<double, 3> position, std::array<double, 3> hpbDegrees, std::array<double, 3> scale) {
    for (Channel &c : motion) c.keys.clear();
    AddKey(0, {position[0], position[1], position[2], hpbDegrees[0], hpbDegrees[1], hpbDegrees[2], scale[0], scale[1],
               scale[2]});
}

void Item::AddKey(double frame, const std::array<double, 9> &values, bool linear) {
    for (int i = 0; i < kMotionChannels; ++i) {
        ChannelKey key;
        key.frame = frame;
        key.value = values[i];
        key.linear = linear;
        motion[i].keys.push_back(key);
    }
}

Item &Scene::AddObject(const std::string &name, const std::string &file) {
    Item &item = NewItem(objects, LWI_OBJECT, name);
    item.filename = file;
    return item;
}

Item &Scene::AddNullObject(const std::string &name) { return NewItem(objects, LWI_OBJECT, name); }
Item &Scene::AddLight(const std::string &name) { return NewItem(lights, LWI_LIGHT, name); }
Item &Scene::AddCamera(const std::string &name) { return NewItem(cameras, LWI_CAMERA, name); }

Item &Scene::AddBone(Item &object, const std::string &name) {
    Item &bone = NewItem(object.bones, LWI_BONE, name);
    bone.owner = &object;
    return bone;
}

Item &Scene::AddStrayBone(const std::string &name) { return NewItem(strayBones, LWI_BONE, name); }

// How the host numbers duplicate names is not published; we keep the first of
// a shared name as it is and number the later ones "Null (2)", "Null (3)", in
// the host's order, the form animators' scenes show ("Ball", "Ball (2)").
std::string Scene::ShownName(const Item &item) const {
    const std::vector<std::unique_ptr<Item>> *list = nullptr;
    switch (item.type) {
    case LWI_OBJECT: list = &objects; break;
    case LWI_LIGHT: list = &lights; break;
    case LWI_CAMERA: list = &cameras; break;
    case LWI_BONE: list = item.owner ? &item.owner->bones : &strayBones; break;
    }
    int index = 0;
    for (const auto &other : *list) {
        if (other->name == item.name) ++index;
        if (other.get() == &item) break;
    }
    return index > 1 ? item.name + " (" + std::to_string(index) + ")" : item.name;
}

// The frame heights of the FilmSize presets. The host's own figures are not
// published (unconfirmed): these are the formats' usual camera apertures.
double Scene::FilmHeight() const {
    const double millimetres[] = {4.01, 7.49, 15.29, 23.01, 52.63, 13.0, 24.0, 45.0, 60.0, 3.6, 4.8};
    return millimetres[filmSize < 0 || filmSize > 10 ? 2 : filmSize] / 1000;
}

int Scene::AntialiasingPasses(bool sampled) const {
    const int passes[] = {1, 5, 9, 17};
    const int level = passes[antialiasing < 0 ? 0 : (antialiasing > 3 ? 3 : antialiasing)];
    return sampled && level < passes[1] ? passes[1] : level;
}

void Scene::KeyedMotion(const Item &item, double time, double out[9]) const {
    double frame = FrameAt(time);
    for (int i = 0; i < kMotionChannels; ++i) out[i] = item.motion[i].ValueAt(frame);
}

// The chain of parents is walked from the root down (each parent's placement
// through Placement, so a host that remembers placements answers it). A
// child's position is a point in its parent's coordinates, so the parent's
// pivot is taken off it before the parent's axes apply (how the host treats a
// parent's pivot is not published; this is the reading that keeps a point's
// placement rule uniform).
void Scene::WorkOutPlacement(const Item &item, double time, double out[kPlacementValues]) const {
    double m[9];
    motion ? motion(item, time, m) : KeyedMotion(item, time, m);
    Vec3 position{m[kPosX], m[kPosY], m[kPosZ]};
    Item::Turn &turn = item.lastTurn;
    if (std::memcmp(&m[kHeading], turn.hpb, sizeof turn.hpb) != 0) {  // bit for bit: -0 turns differently from +0
        Rows unit = RotationRows(m[kHeading] * kRadiansPerDegree, m[kPitch] * kRadiansPerDegree, m[kBank] * kRadiansPerDegree);
        for (int i = 0; i < 3; ++i) {
            turn.hpb[i] = m[kHeading + i];
            for (int j = 0; j < 3; ++j) turn.rows[i][j] = unit[i][j];
        }
    }
    Rows rows;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) rows[i][j] = turn.rows[i][j] * m[kScaleX + i];
    const Item *parent = PlacementParent(item);
    if (parent) {
        WorldFrame up = World(*this, *parent, time);
        Vec3 offset{position[0] - parent->pivot[0], position[1] - parent->pivot[1], position[2] - parent->pivot[2]};
        Vec3 placed = Times(offset, up.rows);
        for (int j = 0; j < 3; ++j) position[j] = up.position[j] + placed[j];
        for (int i = 0; i < 3; ++i) rows[i] = Times(rows[i], up.rows);
    }
    for (int j = 0; j < 3; ++j) out[j] = position[j];
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) out[3 + 3 * i + j] = rows[i][j];
}

void Scene::Placement(const Item &item, double time, double out[kPlacementValues]) const {
    placement ? placement(item, time, out) : WorkOutPlacement(item, time, out);
}

void Scene::Param(const Item &item, int param, double time, double out[3]) const {
    double m[9];
    switch (param) {
    case LWIP_POSITION:
    case LWIP_ROTATION:
    case LWIP_SCALING: {
        motion ? motion(item, time, m) : KeyedMotion(item, time, m);
        int first = param == LWIP_POSITION ? kPosX : param == LWIP_ROTATION ? kHeading : kScaleX;
        double k = param == LWIP_ROTATION ? kRadiansPerDegree : 1;
        for (int i = 0; i < 3; ++i) out[i] = m[first + i] * k;
        return;
    }
    case LWIP_PIVOT:
        for (int i = 0; i < 3; ++i) out[i] = item.pivot[i];
        return;
    }
    WorldFrame w = World(*this, item, time);
    Vec3 v{};
    switch (param) {
    case LWIP_RIGHT: v = w.rows[0]; break;
    case LWIP_UP: v = w.rows[1]; break;
    case LWIP_FORWARD: v = w.rows[2]; break;
    case LWIP_W_POSITION: v = w.position; break;
    case LWIP_W_RIGHT: v = Inverse(w.rows)[0]; break;
    case LWIP_W_UP: v = Inverse(w.rows)[1]; break;
    case LWIP_W_FORWARD: v = Inverse(w.rows)[2]; break;
    }
    for (int i = 0; i < 3; ++i) out[i] = v[i];
}

Item *ItemFromId(const Scene &scene, LWItemID id) {
    if (!id) return nullptr;
    for (const auto *list : {&scene.objects, &scene.lights, &scene.cameras, &scene.strayBones}) {
        for (const auto &item : *list) {
            if (item.get() == id) return item.get();
            for (const auto &bone : item->bones)
                if (bone.get() == id) return bone.get();
        }
    }
    return nullptr;
}
