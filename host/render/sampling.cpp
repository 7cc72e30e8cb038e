// The passes over a frame's pixels: antialiasing offsets within each pixel,
// motion-blur times, fields and depth of field, adaptive sampling, and the
// average of the passes with the buffers of the first.
#include "host/render/frame_state.h"

#include <thread>

using namespace render;

namespace {

// Where each antialiasing pass looks within its pixel, as offsets from the
// centre in pixels. The host's own pattern is not published (unconfirmed):
// here the first pass is the centre, so a render without antialiasing is the
// one-ray render, and the N passes form a rank-1 lattice over the pixel's
// N x N grid (pass k at column k a mod N, row k): every row and every column
// holds one pass, so an edge along either axis is covered to within 1/N, and
// the generator a spreads them across the diagonals too.
std::vector<std::array<double, 2>> SubpixelOffsets(int passes) {
    const int generator = passes == 5 ? 2 : passes == 9 ? 4 : passes == 17 ? 5 : 1;
    std::vector<std::array<double, 2>> offsets;
    for (int k = 0; k < passes; ++k) {
        auto centred = [&](int cell) { return cell * 2 < passes ? double(cell) / passes : double(cell) / passes - 1; };
        offsets.push_back({centred(k * generator % passes), centred(k)});
    }
    return offsets;
}

// The pixels of rows first, first + step, ... that get the passes after the
// first: all of them, or with adaptive sampling those whose colour or alpha
// differs from a neighbour's in those rows (left, right, above, below) by
// more than the threshold.
std::vector<bool> NeedsPasses(const RgbaImage &image, const Scene &scene, bool adaptive, int first, int step) {
    const int w = image.width, h = image.height;
    std::vector<bool> more(static_cast<size_t>(w) * h, !adaptive);
    if (!adaptive) return more;
    auto differs = [&](size_t a, size_t b) {
        for (int c = 0; c < 4; ++c)
            if (std::abs(image.rgba[a * 4 + c] - image.rgba[b * 4 + c]) > scene.adaptiveThreshold) return true;
        return false;
    };
    const size_t below = static_cast<size_t>(step) * w;
    for (int y = first; y < h; y += step)
        for (int x = 0; x < w; ++x) {
            size_t at = static_cast<size_t>(y) * w + x;
            if (x + 1 < w && differs(at, at + 1)) more[at] = more[at + 1] = true;
            if (y + step < h && differs(at, at + below)) more[at] = more[at + below] = true;
        }
    return more;
}

// The rows first, first + step, ... below `height`, shared among `threads`
// threads, each taking every threads-th of them; the primary rays `work`
// reports casting for its rows, summed. The pixels of a row are the row's
// own, so the picture is the same whatever the count.
template <typename Work>
long ShareRows(int threads, int first, int step, int height, const Work &work) {
    long cast = 0;
    if (threads <= 1) {
        for (int y = first; y < height; y += step) cast += work(y);
        return cast;
    }
    std::vector<long> counts(threads, 0);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
        pool.emplace_back([&, t] {
            for (int y = first + t * step; y < height; y += threads * step) counts[t] += work(y);
        });
    for (std::thread &thread : pool) thread.join();
    for (long c : counts) cast += c;
    return cast;
}

}  // namespace

bool Renderer::Shade(int frame, RgbaImage *out, std::string *error) {
    State &st = *state_;
    if (!st.begun && !Begin(error)) return false;
    EvaluationPass pass(st.host);  // the frame's motion, worked out once per item and time
    const Scene &scene = st.host.scene;
    // With motion blur each pass has its own time, the frame's own last of
    // them; it is rendered first, so the buffers are the frame's. The plug-ins
    // are handed the frame being rendered with every pass's time.
    std::vector<double> times = st.host.BlurPassTimes(frame);
    std::rotate(times.begin(), times.end() - 1, times.end());
    const bool blur = times.size() > 1, fields = scene.renderOptions & LWROPT_FIELDS;
    struct PassFrame {
        EmbeddedHost &host;
        int outer;
        ~PassFrame() { host.SetPassFrame(outer); }
    } passFrame{st.host, st.host.SetPassFrame(blur || fields ? frame : EmbeddedHost::kNoPassFrame)};
    auto prepare = [&](double time) {
        if (!st.Prepare(frame, time, error) || st.host.MotionOverrun(error)) return false;
        for (auto &os : st.objects)
            for (auto &list : os.surfaceShaders)
                for (ShaderUse &use : list)
                    if (LWError e = use.handler->newTime(use.instance, frame, time))
                        return *error = use.server + ": " + e, false;
        if (st.filterSamples)
            for (const FilterPluginUse &use : scene.filterPlugins)
                if (use.pixel)
                    if (LWError e = use.pixel->newTime(use.instance, frame, time))
                        return *error = use.server + ": " + e, false;
        active = &st;
        return true;
    };
    // A render's pixel filters, in order, on the samples of one pass: the
    // pixels of rows first, first + step, ... (those `only` marks, when given).
    auto filter = [&](RgbaImage *samples, int first, int step, const std::vector<bool> *only) {
        for (const FilterPluginUse &use : scene.filterPlugins)
            if (use.pixel) FilterSamples(use.pixel, use.instance, samples, &kRays, first, step, only);
        return !st.host.MotionOverrun(error);
    };
    // Fields: the first in time half a frame before the frame, the second at
    // its time (the host's own timing is not published: unconfirmed). The
    // first field holds the even lines (counting the top line as 0), or with
    // ReverseFields the odd ones. The scene is first built for the rows
    // rendered first.
    const double half = fields ? 0.5 / scene.framesPerSecond : 0;
    if (!prepare(times[0] - half)) return false;
    const int w = st.width, h = st.height;
    out->width = w, out->height = h;
    size_t n = static_cast<size_t>(w) * h;
    out->rgba.assign(n * 4, 0);
    out->depth.assign(n, kBackdropDepth);
    for (auto &buffer : out->buffers) buffer.assign(n, 0);
    const std::vector<std::array<double, 2>> offsets = SubpixelOffsets(
        blur ? static_cast<int>(times.size()) : scene.AntialiasingPasses(scene.renderOptions & LWROPT_DEPTHOFFIELD));
    const int passes = static_cast<int>(offsets.size());
    std::vector<float> sum(passes > 1 ? n * 4 : 0);
    // A later pass's samples, when the pixel filters need them whole.
    RgbaImage later;
    if (passes > 1 && st.filterSamples) {
        later.width = w, later.height = h;
        later.rgba.assign(n * 4, 0);
        later.depth.assign(n, kBackdropDepth);
        for (auto &buffer : later.buffers) buffer.assign(n, 0);
    }
    // A sample's colour, alpha, depth (-1: the backdrop) and buffers, at a pixel.
    auto store = [](RgbaImage *into, size_t at, const Vec &colour, double alpha, double depth, const SpotRecord &r) {
        for (int c = 0; c < 3; ++c) into->rgba[at * 4 + c] = static_cast<unsigned char>(colour[c] * 255 + 0.5);
        into->rgba[at * 4 + 3] = static_cast<unsigned char>(alpha * 255 + 0.5);
        const bool hit = depth >= 0;
        into->depth[at] = hit ? static_cast<float>(depth) : kBackdropDepth;
        auto byte = [hit](double v) {
            return hit ? static_cast<float>(std::floor(std::clamp(v, 0.0, 1.0) * 255 + 0.5)) : 0.0f;
        };
        auto value = [hit](double v) { return hit ? static_cast<float>(v) : 0.0f; };
        into->buffers[LWBUF_LUMINOUS][at] = byte(r.luminous);
        into->buffers[LWBUF_DIFFUSE][at] = byte(r.diffuse);
        into->buffers[LWBUF_SPECULAR][at] = byte(r.specular);
        into->buffers[LWBUF_MIRROR][at] = byte(r.mirror);
        into->buffers[LWBUF_TRANS][at] = byte(r.transparency);
        for (int c = 0; c < 3; ++c) into->buffers[LWBUF_RAW_RED + c][at] = byte(r.raw[c]);
        into->buffers[LWBUF_SHADING][at] = value(r.shading);
        into->buffers[LWBUF_SHADOW][at] = value(r.shadow);
        into->buffers[LWBUF_GEOMETRY][at] = value(r.geometry);
        into->buffers[LWBUF_DIFFSHADE][at] = value(r.diffShade);
        into->buffers[LWBUF_SPECSHADE][at] = value(r.specShade);
    };
    auto sample = [&](int x, int y, int pass, Vec *colour, double *alpha, SpotRecord *r) {
        // Dithered motion blur pairs each pixel's later passes with the
        // subpixel offsets in an order of its own, so that the passes' steps
        // in time do not line up from pixel to pixel.
        int k = pass;
        if (pass > 0 && blur && scene.ditheredMotionBlur)
            k = 1 + (pass - 1 + static_cast<int>((x * 7919u + y * 104729u) % (passes - 1))) % (passes - 1);
        Vec direction = st.PixelRay(x + 0.5 + offsets[k][0], y + 0.5 + offsets[k][1]), from = st.eye;
        if (st.lensRadius > 0 && pass > 0) {
            // Pass k looks from its own point of the lens, r sqrt(k / N) from
            // its centre at k golden angles, through the pinhole ray's point
            // on the focal plane; the first pass is the pinhole's.
            const double radius = st.lensRadius * std::sqrt(double(pass) / passes), turn = pass * 2.399963229728653;
            Vec focal = Add(st.eye, Scale(direction, st.focus / Dot(direction, st.forward)));
            from = Add(st.eye, Add(Scale(st.right, radius * std::cos(turn)), Scale(st.up, radius * std::sin(turn))));
            direction = Unit(Minus(focal, from));
        }
        rayDepth = 0;
        double distance = st.Trace(from, direction, 0, x, y, colour, alpha, r);
        for (int c = 0; c < 3; ++c) (*colour)[c] = std::clamp((*colour)[c], 0.0, 1.0);
        *alpha = std::clamp(*alpha, 0.0, 1.0);
        return distance < 0 ? distance : distance * Dot(direction, st.forward);
    };
    // The rows first, first + step, ... at the times shifted by `shift`
    // seconds. The first pass, through the pixels' centres, gives the depth
    // and the other buffers; later passes add their colour and alpha.
    auto rows = [&](int first, int step, double shift) {
        if (st.time != times[0] + shift && !prepare(times[0] + shift)) return false;
        primaryRays += ShareRows(st.threads, first, step, h, [&](int y) {
            for (int x = 0; x < w; ++x) {
                Vec colour;
                double alpha;
                SpotRecord r;
                double depth = sample(x, y, 0, &colour, &alpha, &r);
                size_t at = static_cast<size_t>(y) * w + x;
                store(out, at, colour, alpha, depth, r);
                if (!sum.empty()) {
                    for (int c = 0; c < 3; ++c) sum[at * 4 + c] = static_cast<float>(colour[c]);
                    sum[at * 4 + 3] = static_cast<float>(alpha);
                }
            }
            return static_cast<long>(w);
        });
        if (st.filterSamples && !filter(out, first, step, nullptr)) return false;
        if (sum.empty()) return true;
        if (st.filterSamples)  // the average takes the filtered samples
            for (int y = first; y < h; y += step)
                for (size_t at = static_cast<size_t>(y) * w * 4, end = at + w * 4; at < end; ++at)
                    sum[at] = out->rgba[at] / 255.0f;
        // Adaptive sampling looks at the first pass alone, so it is left out
        // under motion blur (a moving edge crosses pixels that look flat at one
        // time) and depth of field (a blurred edge spreads over flat ones).
        const bool focus = scene.renderOptions & LWROPT_DEPTHOFFIELD;
        const std::vector<bool> more = NeedsPasses(*out, scene, !blur && !focus && scene.adaptiveSampling, first, step);
        for (int p = 1; p < passes; ++p) {
            if (blur && !prepare(times[p] + shift)) return false;
            primaryRays += ShareRows(st.threads, first, step, h, [&](int y) {
                long cast = 0;
                for (int x = 0; x < w; ++x) {
                    size_t at = static_cast<size_t>(y) * w + x;
                    if (!more[at]) continue;
                    Vec colour;
                    double alpha;
                    SpotRecord r;
                    double depth = sample(x, y, p, &colour, &alpha, &r);
                    ++cast;
                    if (st.filterSamples) {
                        store(&later, at, colour, alpha, depth, r);
                        continue;
                    }
                    for (int c = 0; c < 3; ++c) sum[at * 4 + c] += static_cast<float>(colour[c]);
                    sum[at * 4 + 3] += static_cast<float>(alpha);
                }
                return cast;
            });
            if (!st.filterSamples) continue;
            if (!filter(&later, first, step, &more)) return false;
            for (int y = first; y < h; y += step)
                for (size_t at = static_cast<size_t>(y) * w, end = at + w; at < end; ++at)
                    if (more[at])
                        for (int c = 0; c < 4; ++c) sum[at * 4 + c] += later.rgba[at * 4 + c] / 255.0f;
        }
        for (int y = first; y < h; y += step)
            for (size_t at = static_cast<size_t>(y) * w, end = at + w; at < end; ++at)
                if (more[at])
                    for (int c = 0; c < 4; ++c)
                        out->rgba[at * 4 + c] = static_cast<unsigned char>(sum[at * 4 + c] / passes * 255 + 0.5);
        return true;
    };
    // The filters after it see the scene at the frame's own time.
    if (!fields) return rows(0, 1, 0) && (!blur || prepare(times[0]));
    const int early = scene.reverseFields ? 1 : 0;
    return rows(early, 2, -half) && rows(1 - early, 2, 0) && (!blur || prepare(times[0]));
}
