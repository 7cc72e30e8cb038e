#include "host/render/renderer.h"

#include "host/render/frame_state.h"
#include "host/scene_file.h"

#include <thread>

using namespace render;

Renderer::Renderer(EmbeddedHost &host) : state_(std::make_unique<State>(host)) {
    state_->rays = kRays;
    SetThreads(static_cast<int>(std::thread::hardware_concurrency()));
}

void Renderer::SetThreads(int threads) { state_->threads = std::max(1, threads); }

// Ends the session of the pixel filters started, the first ones in order.
void Renderer::State::EndPixelFilters() {
    for (const FilterPluginUse &use : host.scene.filterPlugins)
        if (use.pixel && pixelFiltersStarted > 0) use.pixel->cleanup(use.instance), --pixelFiltersStarted;
}

Renderer::~Renderer() {
    state_->EndPixelFilters();  // the session brackets every frame this renderer made
    if (state_->begun)
        for (auto &os : state_->objects)
            for (auto &list : os.surfaceShaders)
                for (ShaderUse &use : list) use.handler->cleanup(use.instance);
    for (auto &os : state_->objects)
        for (auto &list : os.surfaceShaders)
            for (ShaderUse &use : list)
                if (use.owned) use.handler->destroy(use.instance);
    if (active == state_.get()) active = nullptr;
}

void Renderer::AddSurfaceShader(const std::string &surface, const ShaderHandler *handler, LWInstance instance,
                                const std::string &server) {
    state_->mapped.insert({surface, ShaderUse{handler, instance, server}});
}

bool Renderer::Begin(std::string *error) {
    State &st = *state_;
    Scene &s = st.host.scene;
    if (s.frameWidth < 1 || s.frameHeight < 1 || s.frameWidth > kLongestSide || s.frameHeight > kLongestSide)
        return *error = "the frame is " + std::to_string(s.frameWidth) + "x" + std::to_string(s.frameHeight) +
                        "; frames are 1 to " + std::to_string(kLongestSide) + " pixels a side",
               false;
    if (s.cameras.empty()) return *error = "the scene has no camera", false;
    st.objects.clear();
    for (const auto &object : s.objects) {
        State::ObjectState os{object.get(), {}, {}};
        // An object that names a file it could not read is refused here, once.
        if (!object->filename.empty() && object->geometry.points.empty())
            return *error = s.ShownName(*object) + ": " +
                            (object->geometryProblem.empty() ? "the object holds no points" : object->geometryProblem),
                   false;
        for (const Surface &surface : object->geometry.surfaces) {
            std::vector<ShaderUse> list;
            for (const SurfaceShader &shader : surface.shaders) {
                std::string why;
                long version = 3;
                auto *handler =
                    static_cast<const ShaderHandler *>(st.host.Handler("ShaderHandler", shader.server, &why, &version));
                if (!handler) return *error = s.ShownName(*object) + ": surface " + surface.name + ": " + why, false;
                LWError failure = nullptr;
                LWInstance instance = handler->create(&failure);
                if (!instance)
                    return *error = shader.server + ": " + (failure ? failure : "could not be created"), false;
                list.push_back({handler, instance, shader.server, 0, true, version});
                if (LWError e = LoadInstanceBytes(handler->load, instance, shader.data))
                    return *error =
                               s.ShownName(*object) + ": surface " + surface.name + ": " + shader.server + ": " + e,
                           false;
            }
            auto [from, to] = st.mapped.equal_range(surface.name);
            for (auto it = from; it != to; ++it) list.push_back(it->second);
            os.surfaceShaders.push_back(std::move(list));
        }
        st.objects.push_back(std::move(os));
    }
    // Every shader's render session starts; one that will not start stops the render.
    for (auto &os : st.objects)
        for (auto &list : os.surfaceShaders)
            for (ShaderUse &use : list) {
                if (LWError e = use.handler->init(use.instance)) return *error = use.server + ": " + e, false;
                use.flags = use.handler->flags(use.instance);
            }
    // So does every pixel filter's, once for the whole sequence of frames.
    st.EndPixelFilters();  // any a refused start left begun
    for (const FilterPluginUse &use : s.filterPlugins) {
        if (!use.pixel) continue;
        if (LWError e = use.pixel->init(use.instance)) return st.EndPixelFilters(), *error = use.server + ": " + e, false;
        ++st.pixelFiltersStarted;
    }
    st.begun = true;
    return true;
}

bool Renderer::Render(int frame, RgbaImage *out, std::string *error) {
    State &st = *state_;
    // The pixel filters run on every sample of every pass, before the passes
    // are averaged.
    for (const FilterPluginUse &use : st.host.scene.filterPlugins) st.filterSamples |= use.pixel != nullptr;
    const bool shaded = Shade(frame, out, error);
    st.filterSamples = false;
    if (!shaded) return false;
    EvaluationPass pass(st.host);
    // The exposure: from the first motion-blur pass to the frame's own time.
    const double exposureStart = st.host.BlurPassTimes(frame).front();
    for (const FilterPluginUse &use : st.host.scene.filterPlugins)
        if (use.image && !RunImageFilter(use.image, use.instance, out, frame, st.time, error, exposureStart)) {
            *error = use.server + ": " + *error;
            return false;
        }
    return true;
}

const RayFunctions &Renderer::Rays() const {
    active = state_.get();
    return kRays;
}

size_t Renderer::Triangles() const { return state_->tracer.Triangles().size(); }

const Tracer &Renderer::Geometry() const { return state_->tracer; }
