// The scene's build at a time: the camera, the objects' displaced polygons
// placed in the world and cut into triangles with smoothed corner normals,
// the lights and the ambient light.
#include <cstring>

#include "host/render/frame_state.h"

using namespace render;


bool Renderer::State::Prepare(int frameNumber, double at, std::string *error) {
    Scene &s = host.scene;
    frame = frameNumber;
    time = at;
    width = s.frameWidth;
    height = s.frameHeight;
    if (width < 1 || height < 1 || width > kLongestSide || height > kLongestSide)
        return *error = "the frame is " + std::to_string(width) + "x" + std::to_string(height) + "; frames are 1 to " +
                        std::to_string(kLongestSide) + " pixels a side",
               false;
    if (s.cameras.empty()) return *error = "the scene has no camera", false;
    const Item &camera = *s.cameras.front();
    s.Param(camera, LWIP_W_POSITION, time, eye.data());
    s.Param(camera, LWIP_RIGHT, time, right.data());
    s.Param(camera, LWIP_UP, time, up.data());
    s.Param(camera, LWIP_FORWARD, time, forward.data());
    right = Unit(right), up = Unit(up), forward = Unit(forward);
    double zoom = camera.zoom.ValueAt(s.FrameAt(time));
    if (!(zoom > 0)) return *error = "the camera's zoom factor is not above 0", false;
    halfTanV = 1 / zoom;
    halfTanH = halfTanV * width * s.pixelAspect / height;
    // Depth of field: a thin lens of focal length F (half the film's
    // height times the zoom) and aperture F / f-stop, focused at D. The
    // lens is sampled over a disc enlarged by D / (D - F), so that a point
    // at distance z blurs over the thin lens's circle of confusion,
    // A F |z - D| / (z (D - F)) on the film.
    lensRadius = 0, focus = 0;
    if (s.renderOptions & LWROPT_DEPTHOFFIELD) {
        const double F = s.FilmHeight() / 2 * zoom, D = camera.focalDistance.ValueAt(s.FrameAt(time)),
                     stop = camera.fStop.ValueAt(s.FrameAt(time));
        if (D > F && stop > 0) lensRadius = F / stop / 2 * D / (D - F), focus = D;
    }

    std::vector<TracedTriangle> triangles;
    for (size_t o = 0; o < objects.size(); ++o) {
        ObjectState &os = objects[o];
        Item &item = *os.item;
        os.place = PlacementAt(s, item, time);
        if (item.filename.empty() || item.geometry.polygons.empty()) continue;
        if (item.dissolve.ValueAt(s.FrameAt(time)) >= 1) continue;  // dissolved away
        std::vector<Vec> points = DisplacedPoints(host, item, time, error);
        if (points.size() != item.geometry.points.size()) {
            *error = s.ShownName(item) + ": " + *error;
            return false;
        }
        for (Vec &p : points) p = os.place.ToWorld(p);
        AddObject(static_cast<int>(o), item, points, &triangles);
    }
    tracer.Build(std::move(triangles));

    lights.clear();
    for (const auto &light : s.lights) {
        FrameLight l;
        l.id = IdOf(light.get());
        l.type = light->lightType;
        s.Param(*light, LWIP_W_POSITION, time, l.position.data());
        s.Param(*light, LWIP_FORWARD, time, l.forward.data());
        l.forward = Unit(l.forward);
        l.colour = Scale(Vec{light->lightColor[0], light->lightColor[1], light->lightColor[2]},
                         light->intensity.ValueAt(s.FrameAt(time)));
        l.cosOuter = std::cos(light->coneRadius);
        l.cosInner = std::cos(std::max(0.0, light->coneRadius - light->coneEdge));
        l.shadows = light->shadowType == LWLSHAD_RAYTRACE && (s.rayTraceEffects & 1);
        lights.push_back(l);
    }
    ambient = Scale(Vec{s.ambientColor[0], s.ambientColor[1], s.ambientColor[2]},
                    s.ambientIntensity.ValueAt(s.FrameAt(time)));
    return true;
}

void Renderer::State::AddObject(int objectIndex, const Item &item, const std::vector<Vec> &points,
                                std::vector<TracedTriangle> *out) {
    const ObjectGeometry &g = item.geometry;
    bool casts = item.shadowOptions & LWOSHAD_CAST;
    std::vector<SmoothedPolygon> polygons = SmoothPolygons(g, points);
    for (size_t p = 0; p < polygons.size(); ++p) {
        const SmoothedPolygon &sp = polygons[p];
        const std::vector<int> &polygon = g.polygons[p];
        const Surface *surface = sp.surface >= 0 ? &g.surfaces[sp.surface] : nullptr;
        for (const auto &t : sp.triangles) {
            TracedTriangle tri;
            tri.object = objectIndex;
            tri.polygon = static_cast<int>(p);
            tri.surface = sp.surface;
            tri.doubleSided = surface && surface->doubleSided;
            tri.castsShadow = casts;
            for (int c = 0; c < 3; ++c) {
                tri.corner[c] = points[polygon[t[c]]];
                tri.normal[c] = sp.cornerNormals[t[c]];
            }
            tri.face = sp.face;
            out->push_back(tri);
        }
    }
}
