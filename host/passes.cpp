#include "host/passes.h"

#include <algorithm>

#include <cmath>
#include <cstring>

namespace {

using Vec = Vec3;

double Dot(const Vec &a, const Vec &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

// ---- pixel filters: one sample at a time through static context ----

struct Sample {
    const RgbaImage *image;
    int x, y;
    unsigned char *out;
    bool older;  // a handler of version 1 or 2: no diffuse or specular shading buffers
} sample;

// Handlers before version 3 were not given the diffuse and specular shading
// buffers.
bool Offered(int type, bool older) { return !(older && (type == LWBUF_DIFFSHADE || type == LWBUF_SPECSHADE)); }

// The host maker's manual: bufLine reads byte-encoded buffers and fltLine
// float-encoded ones, "currently only LWBUF_DEPTH"; so every other buffer,
// the shading ones too, is handed over as bytes, a shading of 0 to 1 as 0 to
// 255.
bool ByteBuffer(int type) { return type >= 0 && type <= LWBUF_SPECSHADE && type != LWBUF_DEPTH; }
BufferValue AsByte(int type, float v) {
    double level = type > LWBUF_RAW_BLUE ? v * 255.0 : v;  // the renderer keeps shadings from 0 to 1
    return static_cast<BufferValue>(level <= 0 ? 0 : level >= 255 ? 255 : level + 0.5);
}

// A render buffer's value at the sample, or 0 where the image has none.
float BufferAt(const RgbaImage &image, int type, size_t at) {
    if (type < 0 || type > LWBUF_SPECSHADE || image.buffers[type].empty()) return 0;
    return image.buffers[type][at];
}

void SampleBytes(int type, int num, BufferValue *out) {
    size_t at = static_cast<size_t>(sample.y) * sample.image->width + sample.x;
    const unsigned char *px = &sample.image->rgba[at * 4];
    for (int i = 0; i < num; ++i) {
        int t = type + i;
        out[i] = t >= LWBUF_RED && t <= LWBUF_ALPHA ? px[t - LWBUF_RED]
                 : ByteBuffer(t) && Offered(t, sample.older) ? AsByte(t, BufferAt(*sample.image, t, at))
                                                    : 0;
    }
}

void SampleFloats(int type, int num, float *out) {
    size_t at = static_cast<size_t>(sample.y) * sample.image->width + sample.x;
    for (int i = 0; i < num; ++i) {
        int t = type + i;
        // Without a depth buffer everything lies far away, as the backdrop does.
        out[i] = t != LWBUF_DEPTH ? 0 : sample.image->depth.empty() ? kBackdropDepth : sample.image->depth[at];
    }
}

void SampleSet(BufferValue rgba[4]) { std::memcpy(sample.out, rgba, 4); }

double NoRay(const double *, const double *, double *) { return -1; }
double NoCast(const double *, const double *) { return -1; }
double NoShade(const double *, const double *, ShaderAccess *) { return -1; }
int NoLight(LWItemID, const double *, double *, double *) { return 0; }

// ---- image filters: planes by row ----

struct Frame {
    std::vector<unsigned char> planes[4];
    std::vector<unsigned char> bytePlanes[LWBUF_SPECSHADE + 1];  // the render's byte buffers asked for
    std::vector<float> depth;
    const RgbaImage *in;
    RgbaImage *out;
    bool older;  // as for samples
    unsigned char *pixels;  // out's interleaved bytes, where setRGB and setAlpha write
    int width;
    unsigned steps, total;
    bool stopped;  // the monitor was told to stop
} frame;

BufferValue *FrameLine(int type, int y) {
    if (y < 0 || y >= frame.out->height) return nullptr;
    size_t row = static_cast<size_t>(y) * frame.width;
    if (type >= LWBUF_RED && type <= LWBUF_ALPHA) return frame.planes[type - LWBUF_RED].data() + row;
    if (ByteBuffer(type) && Offered(type, frame.older) && !frame.bytePlanes[type].empty())
        return frame.bytePlanes[type].data() + row;
    return nullptr;
}
float *FrameFloatLine(int type, int y) {
    if (y < 0 || y >= frame.out->height) return nullptr;
    size_t row = static_cast<size_t>(y) * frame.width;
    if (type == LWBUF_DEPTH) return frame.depth.empty() ? nullptr : frame.depth.data() + row;
    return nullptr;
}
void FrameSetRGB(int x, int y, BufferValue rgb[3]) {
    unsigned char *at = frame.pixels + (static_cast<size_t>(y) * frame.width + x) * 4;
    at[0] = rgb[0], at[1] = rgb[1], at[2] = rgb[2];
}
void FrameSetAlpha(int x, int y, BufferValue a) { frame.pixels[(static_cast<size_t>(y) * frame.width + x) * 4 + 3] = a; }
void MonitorInit(void *, unsigned total) { frame.total = total, frame.steps = 0; }
// Nonzero asks the filter to stop (the user's abort).
int MonitorStep(void *, unsigned n) {
    frame.steps += n;
    const auto &progress = EmbeddedHost::Active().filterProgress;
    if (frame.stopped || (progress && !progress(frame.steps, frame.total))) frame.stopped = true;
    return frame.stopped ? 1 : 0;
}
void MonitorDone(void *) {}

}  // namespace

Vec3 Placement::ToWorld(const Vec3 &p) const {
    Vec3 w = position;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) w[j] += (p[i] - pivot[i]) * rows[i][j];
    return w;
}

Vec3 Placement::ToObject(const Vec3 &w) const {
    Vec3 p = pivot;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) p[j] += (w[i] - position[i]) * inverse[i][j];
    return p;
}

Placement PlacementAt(const Scene &scene, const Item &object, double time) {
    Placement place;
    place.pivot = object.pivot;
    scene.Param(object, LWIP_W_POSITION, time, place.position.data());
    for (int i = 0; i < 3; ++i) {
        scene.Param(object, LWIP_RIGHT + i, time, place.rows[i].data());
        scene.Param(object, LWIP_W_RIGHT + i, time, place.inverse[i].data());
    }
    return place;
}

std::vector<std::array<double, 3>> DisplacedPoints(EmbeddedHost &host, const Item &object, double time,
                                                   std::string *error) {
    EvaluationPass pass(host);  // one frame's points: the scene holds still
    std::vector<Vec> points = object.geometry.points;
    Scene &scene = host.scene;
    const Placement place = PlacementAt(scene, object, time);
    const LWFrame f = host.PluginFrame(time);
    struct Running {  // the plug-in the host names in what it says
        EmbeddedHost &host;
        ~Running() { host.runningDisplacement = nullptr; }
    } running{host};
    for (const DisplacementPluginUse &use : object.displacementPlugins) {
        host.runningDisplacement = &use.server;
        if (LWError e = use.handler->newTime(use.instance, IdOf(&object), f, time)) {
            *error = use.server + ": " + e;
            return {};
        }
        bool world = use.handler->flags(use.instance) & LWDMF_WORLD;
        for (size_t n = 0; n < points.size(); ++n) {
            DisplacementAccess access;
            std::memcpy(access.oPos, object.geometry.points[n].data(), sizeof access.oPos);
            Vec at = world ? place.ToWorld(points[n]) : points[n];
            std::memcpy(access.source, at.data(), sizeof access.source);
            use.handler->evaluate(use.instance, &access);
            Vec moved = {access.source[0], access.source[1], access.source[2]};
            points[n] = world ? place.ToObject(moved) : moved;
        }
    }
    if (host.MotionOverrun(error)) return {};  // moved by a guess, not by the motion
    return points;
}

bool RunPixelFilter(const PixelFilterHandler *h, LWInstance instance, RgbaImage *image, int frameNumber, double time,
                    std::string *error, const RayFunctions *rays) {
    if (LWError e = h->init(instance)) return *error = e, false;
    if (LWError e = h->newTime(instance, frameNumber, time)) {
        h->cleanup(instance);
        return *error = e, false;
    }
    FilterSamples(h, instance, image, rays);
    h->cleanup(instance);
    return !EmbeddedHost::Active().MotionOverrun(error);
}

void FilterSamples(const PixelFilterHandler *h, LWInstance instance, RgbaImage *image, const RayFunctions *rays,
                   int firstRow, int rowStep, const std::vector<bool> *only) {
    // Every sample reads the buffers as the render left them, whatever the
    // filter has set at the samples before it.
    static thread_local RgbaImage source;
    source = *image;
    PixelAccess access{};
    access.bufVal = SampleBytes;
    access.fltVal = SampleFloats;
    access.setRGBA = SampleSet;
    access.illuminate = NoLight;
    access.rayTrace = NoRay;
    access.rayCast = NoCast;
    access.rayShade = NoShade;
    if (rays && (h->flags(instance) & LWPFF_RAYTRACE)) {
        access.illuminate = rays->illuminate;
        access.rayTrace = rays->rayTrace;
        access.rayCast = rays->rayCast;
        access.rayShade = rays->rayShade;
    }
    // A version-2 record's access ends with the ray tracing: no cast or shade.
    bool older = EmbeddedHost::Active().HandlerVersion(h) < 3;
    if (older) access.rayCast = nullptr, access.rayShade = nullptr;
    for (int y = firstRow; y < image->height; y += rowStep)
        for (int x = 0; x < image->width; ++x) {
            const size_t at = static_cast<size_t>(y) * image->width + x;
            if (only && !(*only)[at]) continue;
            sample = {&source, x, y, &image->rgba[at * 4], older};
            access.sx = x + 0.5;
            access.sy = y + 0.5;
            h->evaluate(instance, &access);
        }
}

bool RunImageFilter(const ImageFilterHandler *h, LWInstance instance, RgbaImage *image, int frameNumber, double time,
                    std::string *error, double start) {
    unsigned wanted = h->flags(instance);
    size_t n = static_cast<size_t>(image->width) * image->height;
    // The render's planes, split from the interleaved pixels in one pass.
    unsigned char *plane[4];
    for (int c = 0; c < 4; ++c) {
        frame.planes[c].resize(n);
        plane[c] = frame.planes[c].data();
    }
    const unsigned char *from = image->rgba.data();
    for (size_t i = 0; i < n; ++i, from += 4)
        plane[0][i] = from[0], plane[1][i] = from[1], plane[2][i] = from[2], plane[3][i] = from[3];
    frame.depth.clear();
    if ((wanted & (1u << LWBUF_DEPTH)) && !image->depth.empty()) frame.depth = image->depth;
    for (int type = 0; type <= LWBUF_SPECSHADE; ++type) {
        frame.bytePlanes[type].clear();
        if (ByteBuffer(type) && (wanted & (1u << type)) && !image->buffers[type].empty())
            for (float v : image->buffers[type]) frame.bytePlanes[type].push_back(AsByte(type, v));
    }
    frame.in = image;
    frame.out = image;
    frame.older = EmbeddedHost::Active().HandlerVersion(h) < 3;
    frame.pixels = image->rgba.data();
    frame.width = image->width;
    frame.steps = frame.total = 0;
    frame.stopped = false;
    Monitor monitor = {nullptr, MonitorInit, MonitorStep, MonitorDone};
    FilterAccess access{};
    access.width = image->width;
    access.height = image->height;
    access.frame = frameNumber;
    access.start = std::isnan(start) ? time : start;
    access.end = time;
    access.bufLine = FrameLine;
    access.fltLine = FrameFloatLine;
    access.setRGB = FrameSetRGB;
    access.setAlpha = FrameSetAlpha;
    access.monitor = &monitor;
    h->process(instance, &access);
    if (frame.stopped) return *error = "the filter was stopped", false;
    return !EmbeddedHost::Active().MotionOverrun(error);
}

bool RenderShaderPreview(const ShaderHandler *h, LWInstance instance, int width, int height, RgbaImage *out,
                         std::string *error, std::array<double, 3> base, int frame, LWItemID object) {
    // The host's preview sphere is an object of its own: with none given, a
    // null object stands in the scene while the preview is drawn, so that a
    // shader asking about its object is told of one (with no points or
    // polygons: the sphere is drawn, not modelled). Its name is this host's
    // choice; the host's own is not published.
    EmbeddedHost &host = EmbeddedHost::Active();
    struct StandIn {
        EmbeddedHost &host;
        Item *item = nullptr;
        ~StandIn() {
            if (!item) return;
            auto &objects = host.scene.objects;
            objects.erase(std::find_if(objects.begin(), objects.end(), [&](const auto &o) { return o.get() == item; }));
            host.Forget();
        }
    } standIn{host};
    if (!object) {
        standIn.item = &host.scene.AddNullObject("Preview Sphere");
        host.Forget();
        object = IdOf(standIn.item);
    }
    if (LWError e = h->init(instance)) return *error = e, false;
    if (LWError e = h->newTime(instance, frame, frame / EmbeddedHost::Active().scene.framesPerSecond)) {
        h->cleanup(instance);
        return *error = e, false;
    }
    out->width = width;
    out->height = height;
    out->rgba.assign(static_cast<size_t>(width) * height * 4, 255);
    const bool older = EmbeddedHost::Active().HandlerVersion(h) < 3;
    const Vec eye = {0, 0, -5}, light = {-0.5773502691896258, 0.5773502691896258, -0.5773502691896258};
    const double halfTan = 1 / 3.2;  // the host's default zoom
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            double u = ((x + 0.5) / width * 2 - 1) * halfTan * width / height, v = (1 - (y + 0.5) / height * 2) * halfTan;
            Vec dir = {u, v, 1};
            double len = std::sqrt(Dot(dir, dir));
            for (double &c : dir) c /= len;
            bool dark = ((x / 16) + (y / 16)) % 2;
            Vec backdrop = {dark ? 0.25 : 0.75, dark ? 0.25 : 0.75, dark ? 0.3 : 0.8};
            Vec colour = backdrop;
            // The sphere of radius 1 at the origin.
            double b = Dot(eye, dir), c = Dot(eye, eye) - 1, disc = b * b - c;
            if (disc >= 0) {
                double t = -b - std::sqrt(disc);
                Vec p = {eye[0] + t * dir[0], eye[1] + t * dir[1], eye[2] + t * dir[2]};
                ShaderAccess s{};
                s.sx = x, s.sy = y;
                s.objID = object;
                for (int i = 0; i < 3; ++i) {
                    s.oPos[i] = s.wPos[i] = s.gNorm[i] = s.wNorm[i] = p[i];
                    s.raySource[i] = eye[i];
                    s.color[i] = base[i];
                }
                s.spotSize = t * 2 * halfTan / height;
                s.rayLength = t;
                s.cosine = -Dot(p, dir);
                for (int i = 0; i < 3; ++i) s.oXfrm[4 * i] = s.wXfrm[4 * i] = 1;
                s.diffuse = 0.8, s.specular = 0.3, s.eta = 1, s.roughness = 0.3;
                s.illuminate = NoLight, s.rayTrace = NoRay, s.rayCast = NoCast, s.rayShade = NoShade;
                if (older) s.rayCast = nullptr, s.rayShade = nullptr;  // not in a version 1 or 2 access
                h->evaluate(instance, &s);
                Vec n = {s.wNorm[0], s.wNorm[1], s.wNorm[2]};
                double nl = std::sqrt(Dot(n, n));
                if (nl > 0)
                    for (double &k : n) k /= nl;
                double lambert = std::max(0.0, Dot(n, light));
                Vec reflect = {2 * Dot(n, light) * n[0] - light[0], 2 * Dot(n, light) * n[1] - light[1],
                               2 * Dot(n, light) * n[2] - light[2]};
                double shine = s.specular * std::pow(std::max(0.0, -Dot(reflect, dir)), 20);
                double transparency = std::min(1.0, std::max(0.0, s.transparency));
                for (int i = 0; i < 3; ++i) {
                    double lit = s.color[i] * (s.luminous + s.diffuse * lambert + 0.1) + shine;
                    colour[i] = lit * (1 - transparency) + backdrop[i] * transparency;
                }
            }
            unsigned char *px = &out->rgba[(static_cast<size_t>(y) * width + x) * 4];
            for (int i = 0; i < 3; ++i) px[i] = static_cast<unsigned char>(std::min(1.0, std::max(0.0, colour[i])) * 255 + 0.5);
        }
    h->cleanup(instance);
    return true;
}
