#include "host/export/gltf_scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <vector>

#include "host/embedded_host.h"
#include "host/export/gltf_space.h"
#include "host/mesh.h"
#include "host/passes.h"
#include "helpers/units.h"

namespace {

using gltf::Quat;
using gltf::Vec3;

constexpr int kArrayBuffer = 34962, kElementArrayBuffer = 34963;
constexpr int kFloat = 5126, kUnsignedInt = 5125;

std::string Quoted(const std::string &s) {
    std::string out = "\"";
    for (unsigned char c : s) {
        if (c == '"' || c == '\\') {
            out += '\\', out += static_cast<char>(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}

// Nine significant digits give a float back exactly.
std::string Number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", v == 0 ? 0.0 : v);
    return text;
}

std::string Numbers(const double *v, int n) {
    std::string out = "[";
    for (int i = 0; i < n; ++i) {
        if (i) out += ',';
        out += Number(v[i]);
    }
    return out + "]";
}

std::string Joined(const std::vector<std::string> &parts) {
    std::string out;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i) out += ',';
        out += parts[i];
    }
    return out;
}

std::string Indices(const std::vector<int> &v) {
    std::vector<std::string> parts;
    for (int i : v) parts.push_back(std::to_string(i));
    return "[" + Joined(parts) + "]";
}

// The binary buffer and the views and accessors that read it, one view an
// accessor.
struct Buffer {
    std::string bytes;
    std::vector<std::string> views, accessors;
    bool finite = true;  // every value fitted a float

    int View(const void *data, size_t size, int target) {
        bytes.append((4 - bytes.size() % 4) % 4, '\0');  // every component type is 4 bytes here
        std::string view = "{\"buffer\":0,\"byteOffset\":" + std::to_string(bytes.size()) +
                           ",\"byteLength\":" + std::to_string(size);
        if (target) view += ",\"target\":" + std::to_string(target);
        bytes.append(static_cast<const char *>(data), size);
        views.push_back(view + "}");
        return static_cast<int>(views.size() - 1);
    }
    // Floats of `components` each (SCALAR, VEC3, VEC4), with their bounds
    // when asked (positions and animation times must have them).
    int Floats(const std::vector<double> &values, int components, int target, bool bounds) {
        std::vector<float> f(values.size());
        for (size_t i = 0; i < values.size(); ++i) {
            f[i] = static_cast<float>(values[i]);
            finite = finite && std::isfinite(f[i]);
        }
        const size_t count = values.size() / components;
        static const char *const kTypes[] = {"", "SCALAR", "VEC2", "VEC3", "VEC4"};
        std::string a = "{\"bufferView\":" + std::to_string(View(f.data(), f.size() * sizeof(float), target)) +
                        ",\"componentType\":" + std::to_string(kFloat) + ",\"count\":" + std::to_string(count) +
                        ",\"type\":\"" + kTypes[components] + "\"";
        if (bounds && count) {
            double low[4], high[4];
            for (int c = 0; c < components; ++c) {
                low[c] = high[c] = f[c];
                for (size_t i = 1; i < count; ++i) {
                    low[c] = std::min<double>(low[c], f[i * components + c]);
                    high[c] = std::max<double>(high[c], f[i * components + c]);
                }
            }
            a += ",\"min\":" + Numbers(low, components) + ",\"max\":" + Numbers(high, components);
        }
        accessors.push_back(a + "}");
        return static_cast<int>(accessors.size() - 1);
    }
    int Triangles(const std::vector<uint32_t> &indices) {
        int view = View(indices.data(), indices.size() * sizeof(uint32_t), kElementArrayBuffer);
        accessors.push_back("{\"bufferView\":" + std::to_string(view) + ",\"componentType\":" +
                            std::to_string(kUnsignedInt) + ",\"count\":" + std::to_string(indices.size()) +
                            ",\"type\":\"SCALAR\"}");
        return static_cast<int>(accessors.size() - 1);
    }
};

void Push(std::vector<double> *out, const Vec3 &v) { out->insert(out->end(), v.begin(), v.end()); }

// A unit normal whatever the polygon: a corner of a polygon with no area
// takes its face's, and a face with none points up.
Vec3 UnitNormal(const Vec3 &corner, const Vec3 &face) {
    for (const Vec3 *n : {&corner, &face})
        if ((*n)[0] != 0 || (*n)[1] != 0 || (*n)[2] != 0) return *n;
    return {0, 1, 0};
}

// A surface as glTF's metal-rough material: colour times diffuse as the base,
// no metal, the highlight's exponent n as roughness (2 / (n + 2))^(1/4) (the
// Blinn-Phong lobe's Beckmann width, squared into glTF's roughness),
// specular as KHR_materials_specular's factor, luminosity as emission of the
// surface's colour, transparency as alpha, blended.
std::string Material(const Surface &s) {
    const double base[4] = {s.color[0] * s.diffuse, s.color[1] * s.diffuse, s.color[2] * s.diffuse,
                            1 - std::clamp(s.transparency, 0.0, 1.0)};
    double clamped[4];
    for (int i = 0; i < 4; ++i) clamped[i] = std::clamp(base[i], 0.0, 1.0);
    const double emission[3] = {std::clamp(s.color[0] * s.luminosity, 0.0, 1.0),
                                std::clamp(s.color[1] * s.luminosity, 0.0, 1.0),
                                std::clamp(s.color[2] * s.luminosity, 0.0, 1.0)};
    std::string m = "{\"name\":" + Quoted(s.name) + ",\"pbrMetallicRoughness\":{\"baseColorFactor\":" +
                    Numbers(clamped, 4) + ",\"metallicFactor\":0,\"roughnessFactor\":" +
                    Number(std::pow(2 / (std::max(s.glossiness, 0.0) + 2), 0.25)) + "}";
    if (emission[0] > 0 || emission[1] > 0 || emission[2] > 0) m += ",\"emissiveFactor\":" + Numbers(emission, 3);
    if (s.transparency > 0) m += ",\"alphaMode\":\"BLEND\"";
    if (s.doubleSided) m += ",\"doubleSided\":true";
    return m + ",\"extensions\":{\"KHR_materials_specular\":{\"specularFactor\":" +
           Number(std::clamp(s.specular, 0.0, 1.0)) + "}}}";
}

// A light as KHR_lights_punctual's: the host's colour, and its intensity at
// the first frame as the factor it is (1 for 100 %); a spot's cone is its
// half-angle, and its soft edge ends inside at the cone less the edge.
// Linear and area lights go out as points.
std::string Light(const Item &light, double frame) {
    const double colour[3] = {light.lightColor[0], light.lightColor[1], light.lightColor[2]};
    std::string type = light.lightType == LWLIGHT_DISTANT ? "directional" : light.lightType == LWLIGHT_SPOT ? "spot" : "point";
    std::string l = "{\"name\":" + Quoted(light.name) + ",\"type\":\"" + type + "\",\"color\":" + Numbers(colour, 3) +
                    ",\"intensity\":" + Number(std::max(0.0, light.intensity.ValueAt(frame)));
    if (type == "spot") {
        const double outer = std::clamp(light.coneRadius, 1e-4, kPi / 2);
        const double inner = std::clamp(light.coneRadius - light.coneEdge, 0.0, outer * 0.999);
        l += ",\"spot\":{\"innerConeAngle\":" + Number(inner) + ",\"outerConeAngle\":" + Number(outer) + "}";
    }
    return l + "}";
}

struct Node {
    const Item *item = nullptr;
    int parent = -1;
    std::vector<int> children;
    std::vector<gltf::NodeTransform> samples;  // one a sampled frame
    int mesh = -1, camera = -1, light = -1, morphs = 0;
};

struct Exporter {
    EmbeddedHost &host;
    const GltfOptions &options;
    std::vector<int> frames;
    std::vector<Node> nodes;
    Buffer buffer;
    std::vector<std::string> meshes, materials, cameras, lights, samplers, channels;

    double TimeOf(int frame) const { return frame / host.scene.framesPerSecond; }

    void AddNode(const Item *item) {
        nodes.emplace_back();
        nodes.back().item = item;
    }

    void CollectItems() {
        const Scene &s = host.scene;
        for (const auto &object : s.objects) {
            AddNode(object.get());
            for (const auto &bone : object->bones) AddNode(bone.get());
        }
        for (const auto *list : {&s.lights, &s.cameras})
            for (const auto &item : *list) AddNode(item.get());
        std::map<const Item *, int> index;
        for (size_t i = 0; i < nodes.size(); ++i) index[nodes[i].item] = static_cast<int>(i);
        for (size_t i = 0; i < nodes.size(); ++i)
            if (const Item *up = PlacementParent(*nodes[i].item); up && index.count(up)) {
                nodes[i].parent = index[up];
                nodes[index[up]].children.push_back(static_cast<int>(i));
            }
    }

    // Every item's final motion at every sampled frame, plug-ins applied.
    bool SampleMotions(std::string *error) {
        for (int frame : frames)
            for (Node &n : nodes) {
                double m[9];
                host.FinalMotion(*n.item, TimeOf(frame), m);
                const Item *up = PlacementParent(*n.item);
                Quat previous = n.samples.empty() ? Quat{0, 0, 0, 1} : n.samples.back().rotation;
                n.samples.push_back(gltf::NodeFromMotion(m, up ? up->pivot : Vec3{}, previous));
            }
        return !host.MotionOverrun(error);
    }

    // The object's mesh: a primitive a surface, a vertex a polygon corner
    // (its smoothed normal), its points relative to its pivot; with
    // displacement plug-ins, a morph target a sampled frame.
    bool AddMesh(Node &n, std::string *error) {
        const Item &object = *n.item;
        const ObjectGeometry &g = object.geometry;
        const std::vector<render::Vec> &points = g.points;
        std::vector<render::SmoothedPolygon> polygons = render::SmoothPolygons(g, points);
        std::vector<std::vector<Vec3>> shapes;  // per frame, how far each point moved, in glTF's space
        if (options.morphs && !object.displacementPlugins.empty())
            for (int frame : frames) {
                std::vector<std::array<double, 3>> moved = DisplacedPoints(host, object, TimeOf(frame), error);
                if (moved.size() != points.size()) return *error = host.scene.ShownName(object) + ": " + *error, false;
                shapes.emplace_back();
                for (size_t i = 0; i < points.size(); ++i)
                    shapes.back().push_back(gltf::FromHost(
                        {moved[i][0] - points[i][0], moved[i][1] - points[i][1], moved[i][2] - points[i][2]}));
            }
        std::map<int, std::vector<size_t>> bySurface;
        for (size_t p = 0; p < polygons.size(); ++p)
            if (!polygons[p].triangles.empty()) bySurface[polygons[p].surface].push_back(p);
        if (bySurface.empty()) return true;
        std::vector<std::string> primitives;
        for (const auto &[surface, list] : bySurface) {
            std::vector<double> positions, normals;
            std::vector<std::vector<double>> deltas(shapes.size());
            std::vector<uint32_t> triangles;
            for (size_t p : list) {
                const uint32_t first = static_cast<uint32_t>(positions.size() / 3);
                const std::vector<int> &polygon = g.polygons[p];
                for (size_t c = 0; c < polygon.size(); ++c) {
                    const auto &at = points[polygon[c]];
                    Push(&positions, gltf::FromHost({at[0] - object.pivot[0], at[1] - object.pivot[1], at[2] - object.pivot[2]}));
                    Push(&normals, gltf::FromHost(UnitNormal(polygons[p].cornerNormals[c], polygons[p].face)));
                    for (size_t f = 0; f < shapes.size(); ++f) Push(&deltas[f], shapes[f][polygon[c]]);
                }
                for (const auto &t : polygons[p].triangles)
                    for (int c : gltf::Winding(t)) triangles.push_back(first + static_cast<uint32_t>(c));
            }
            std::string primitive = "{\"attributes\":{\"POSITION\":" +
                                    std::to_string(buffer.Floats(positions, 3, kArrayBuffer, true)) +
                                    ",\"NORMAL\":" + std::to_string(buffer.Floats(normals, 3, kArrayBuffer, false)) +
                                    "},\"indices\":" + std::to_string(buffer.Triangles(triangles)) +
                                    ",\"material\":" + std::to_string(materials.size());
            Surface plain;  // polygons without a surface: the host's defaults
            plain.name = "Default";
            materials.push_back(Material(surface >= 0 ? g.surfaces[surface] : plain));
            if (!shapes.empty()) {
                std::vector<std::string> targets;
                for (const std::vector<double> &d : deltas)
                    targets.push_back("{\"POSITION\":" + std::to_string(buffer.Floats(d, 3, kArrayBuffer, true)) + "}");
                primitive += ",\"targets\":[" + Joined(targets) + "]";
            }
            primitives.push_back(primitive + "}");
        }
        std::string mesh = "{\"name\":" + Quoted(host.scene.ShownName(object)) + ",\"primitives\":[" + Joined(primitives) + "]";
        if (!shapes.empty()) {
            // At rest the first frame's shape shows; the animation steps
            // through the others.
            std::vector<double> weights(shapes.size(), 0.0);
            weights[0] = 1;
            std::vector<std::string> names;
            for (int frame : frames) names.push_back(Quoted("frame " + std::to_string(frame)));
            mesh += ",\"weights\":" + Numbers(weights.data(), static_cast<int>(weights.size())) +
                    ",\"extras\":{\"targetNames\":[" + Joined(names) + "]}";
            n.morphs = static_cast<int>(shapes.size());
        }
        n.mesh = static_cast<int>(meshes.size());
        meshes.push_back(mesh + "}");
        return true;
    }

    // The camera's zoom factor spans the frame's height: a vertical field of
    // view of 2 atan(1 / zoom), at the first frame sampled.
    void AddCamera(Node &n) {
        const Scene &s = host.scene;
        const double zoom = n.item->zoom.ValueAt(frames.front());
        const double aspect = static_cast<double>(s.frameWidth) * s.pixelAspect / s.frameHeight;
        n.camera = static_cast<int>(cameras.size());
        cameras.push_back("{\"name\":" + Quoted(s.ShownName(*n.item)) + ",\"type\":\"perspective\",\"perspective\":{" +
                          "\"aspectRatio\":" + Number(aspect) + ",\"yfov\":" + Number(2 * std::atan(1 / zoom)) +
                          ",\"znear\":0.01}}");
    }

    // One sampler and channel for each part of a node's transform that moves.
    void Animate(int node, int times) {
        const Node &n = nodes[node];
        struct Part {
            const char *path;
            int components;
            const double *(*of)(const gltf::NodeTransform &);
        };
        static const Part kParts[] = {
            {"translation", 3, [](const gltf::NodeTransform &t) { return t.translation.data(); }},
            {"rotation", 4, [](const gltf::NodeTransform &t) { return t.rotation.data(); }},
            {"scale", 3, [](const gltf::NodeTransform &t) { return t.scale.data(); }},
        };
        for (const Part &part : kParts) {
            std::vector<double> values;
            bool moves = false;
            for (const gltf::NodeTransform &t : n.samples) {
                const double *v = part.of(t);
                moves = moves || !std::equal(v, v + part.components, part.of(n.samples.front()));
                values.insert(values.end(), v, v + part.components);
            }
            if (moves) AddChannel(node, part.path, times, buffer.Floats(values, part.components, 0, false));
        }
        if (n.morphs && frames.size() > 1) {  // one target at full weight a frame
            std::vector<double> weights(frames.size() * n.morphs, 0.0);
            for (size_t f = 0; f < frames.size(); ++f) weights[f * n.morphs + f] = 1;
            AddChannel(node, "weights", times, buffer.Floats(weights, 1, 0, false));
        }
    }

    void AddChannel(int node, const char *path, int times, int values) {
        channels.push_back("{\"sampler\":" + std::to_string(samplers.size()) + ",\"target\":{\"node\":" +
                           std::to_string(node) + ",\"path\":\"" + path + "\"}}");
        samplers.push_back("{\"input\":" + std::to_string(times) + ",\"interpolation\":\"LINEAR\",\"output\":" +
                           std::to_string(values) + "}");
    }

    std::string NodeJson(const Node &n) const {
        const gltf::NodeTransform &t = n.samples.front();
        std::string j = "{\"name\":" + Quoted(host.scene.ShownName(*n.item)) + ",\"translation\":" +
                        Numbers(t.translation.data(), 3) + ",\"rotation\":" + Numbers(t.rotation.data(), 4) +
                        ",\"scale\":" + Numbers(t.scale.data(), 3);
        if (!n.children.empty()) j += ",\"children\":" + Indices(n.children);
        if (n.mesh >= 0) j += ",\"mesh\":" + std::to_string(n.mesh);
        if (n.camera >= 0) j += ",\"camera\":" + std::to_string(n.camera);
        if (n.light >= 0) j += ",\"extensions\":{\"KHR_lights_punctual\":{\"light\":" + std::to_string(n.light) + "}}";
        // The pivot in the host's own coordinates, for tools that take the
        // object back: its points are kept less it.
        const Vec3 &pivot = n.item->pivot;
        if (pivot[0] != 0 || pivot[1] != 0 || pivot[2] != 0) j += ",\"extras\":{\"pivot\":" + Numbers(pivot.data(), 3) + "}";
        return j + "}";
    }

    bool Build(GltfDocument *out, std::string *error) {
        frames = gltf::SampledFrames(options.first, options.last, options.step);
        CollectItems();
        EvaluationPass pass(host);  // each motion worked out once, whoever asks
        if (!SampleMotions(error)) return false;
        for (Node &n : nodes) {
            const Item &item = *n.item;
            if (item.type == LWI_OBJECT && !item.geometry.polygons.empty() && !AddMesh(n, error)) return false;
            if (item.type == LWI_CAMERA) AddCamera(n);
            if (item.type == LWI_LIGHT) {
                n.light = static_cast<int>(lights.size());
                lights.push_back(Light(item, frames.front()));
            }
        }
        if (frames.size() > 1) {
            // glTF's times may not be negative: a shot that starts before
            // frame 0 is moved to start at time 0.
            const int zero = std::min(frames.front(), 0);
            std::vector<double> times;
            for (int frame : frames) times.push_back(TimeOf(frame - zero));
            const int input = buffer.Floats(times, 1, 0, true);
            for (size_t i = 0; i < nodes.size(); ++i) Animate(static_cast<int>(i), input);
        }
        if (!buffer.finite) return *error = "a motion or a point is too large for glTF's floats", false;

        std::vector<std::string> nodeJson;
        std::vector<int> roots;
        for (size_t i = 0; i < nodes.size(); ++i) {
            nodeJson.push_back(NodeJson(nodes[i]));
            if (nodes[i].parent < 0) roots.push_back(static_cast<int>(i));
        }
        std::string j = "{\"asset\":{\"version\":\"2.0\",\"generator\":\"vesk export\"}";
        std::vector<std::string> used;
        if (!materials.empty()) used.push_back("\"KHR_materials_specular\"");
        if (!lights.empty()) used.push_back("\"KHR_lights_punctual\"");
        if (!used.empty()) j += ",\"extensionsUsed\":[" + Joined(used) + "]";
        if (!lights.empty()) j += ",\"extensions\":{\"KHR_lights_punctual\":{\"lights\":[" + Joined(lights) + "]}}";
        j += ",\"scene\":0,\"scenes\":[{\"name\":" + Quoted(host.scene.name) + ",\"nodes\":" + Indices(roots) + "}]";
        if (!nodeJson.empty()) j += ",\"nodes\":[" + Joined(nodeJson) + "]";
        if (!meshes.empty()) j += ",\"meshes\":[" + Joined(meshes) + "]";
        if (!materials.empty()) j += ",\"materials\":[" + Joined(materials) + "]";
        if (!cameras.empty()) j += ",\"cameras\":[" + Joined(cameras) + "]";
        if (!channels.empty())
            j += ",\"animations\":[{\"name\":" + Quoted(host.scene.name) + ",\"channels\":[" + Joined(channels) +
                 "],\"samplers\":[" + Joined(samplers) + "]}]";
        if (!buffer.bytes.empty()) {
            buffer.bytes.append((4 - buffer.bytes.size() % 4) % 4, '\0');
            j += ",\"buffers\":[{\"byteLength\":" + std::to_string(buffer.bytes.size());
            if (!options.bufferUri.empty()) j += ",\"uri\":" + Quoted(options.bufferUri);
            j += "}],\"bufferViews\":[" + Joined(buffer.views) + "],\"accessors\":[" + Joined(buffer.accessors) + "]";
        }
        out->json = j + "}";
        out->buffer = std::move(buffer.bytes);
        return true;
    }
};

void Append32(std::string *out, uint32_t v) {
    for (int i = 0; i < 4; ++i) out->push_back(static_cast<char>(v >> (8 * i) & 0xff));
}

}  // namespace

bool BuildGltf(EmbeddedHost &host, const GltfOptions &options, GltfDocument *out, std::string *error) {
    Exporter exporter{host, options, {}, {}, {}, {}, {}, {}, {}, {}, {}};
    return exporter.Build(out, error);
}

std::string GlbBytes(const GltfDocument &document) {
    std::string json = document.json;
    json.append((4 - json.size() % 4) % 4, ' ');  // chunks end on a 4-byte boundary: JSON with spaces
    const bool hasBuffer = !document.buffer.empty();
    const size_t total = 12 + 8 + json.size() + (hasBuffer ? 8 + document.buffer.size() : 0);
    std::string glb;
    glb.reserve(total);
    glb += "glTF";
    Append32(&glb, 2);
    Append32(&glb, static_cast<uint32_t>(total));
    Append32(&glb, static_cast<uint32_t>(json.size()));
    glb += "JSON";
    glb += json;
    if (hasBuffer) {
        Append32(&glb, static_cast<uint32_t>(document.buffer.size()));
        glb += std::string("BIN\0", 4);
        glb += document.buffer;
    }
    return glb;
}
