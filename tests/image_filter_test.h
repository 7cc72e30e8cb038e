// An image filter created through the embedded host and run over whole frames
// by the host's image-filter pass, as the host runs it after a render.
#pragma once

#include <random>
#include <vector>

#include "controls/plugin_instance.h"
#include "host/passes.h"
#include "plugin_harness.h"

// A frame of w x h pixels holding `rgba`, with a depth buffer when given.
inline RgbaImage Picture(int w, int h, std::vector<unsigned char> rgba, std::vector<float> depth = {}) {
    RgbaImage image;
    image.width = w, image.height = h, image.rgba = std::move(rgba), image.depth = std::move(depth);
    return image;
}

class ImageFilterTest : public InstanceTest<ImageFilterHandler> {
protected:
    using InstanceTest::InstanceTest;
    // The image is the whole frame; the settings replace the instance's.
    RgbaImage Run(RgbaImage image, const std::string &settings, int frame = 0) {
        host.scene.frameWidth = image.width;
        host.scene.frameHeight = image.height;
        Settings(h, instance, server, settings);
        std::string error;
        EXPECT_TRUE(RunImageFilter(h, instance, &image, frame, frame / host.scene.framesPerSecond, &error)) << error;
        return image;
    }
    static RgbaImage Noise(int w, int h, unsigned seed) {
        std::mt19937 random(seed);
        RgbaImage image;
        image.width = w;
        image.height = h;
        image.rgba.resize(static_cast<size_t>(w) * h * 4);
        for (unsigned char &v : image.rgba) v = static_cast<unsigned char>(random() % 256);
        return image;
    }
    static const unsigned char *At(const RgbaImage &image, int x, int y) {
        return &image.rgba[(static_cast<size_t>(y) * image.width + x) * 4];
    }
};
