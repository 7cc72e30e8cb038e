#include "tools/image_files.h"

#ifndef VESK_NO_PNG
#include <png.h>
#endif

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace {

bool ReadWholeFile(const std::string &path, std::string *bytes, std::string *error) {
    if (!NotDeviceOrFolder(path, error)) return false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return *error = path + ": cannot be read", false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) return *error = path + ": cannot be read", false;
    return true;
}

}  // namespace

#ifndef VESK_NO_PNG
bool ReadPng(const std::string &path, RgbaImage *image, std::string *error) {
    std::string bytes;
    return ReadWholeFile(path, &bytes, error) && ReadPngBytes(bytes, path, image, error);
}

bool ReadPngBytes(const std::string &bytes, const std::string &path, RgbaImage *image, std::string *error) {
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&png, bytes.data(), bytes.size()))
        return *error = path + ": not a readable PNG image (" + png.message + ")", false;
    png.format = PNG_FORMAT_RGBA;
    // A side past 16384 pixels is beyond any frame the host renders (and a
    // damaged header's claim would ask for gigabytes).
    constexpr png_uint_32 kLongestSide = 16384;
    if (png.width > kLongestSide || png.height > kLongestSide) {
        png_image_free(&png);
        return *error = path + ": " + std::to_string(png.width) + "x" + std::to_string(png.height) +
                        " is larger than the " + std::to_string(kLongestSide) + "-pixel sides vesk reads",
               false;
    }
    image->width = static_cast<int>(png.width);
    image->height = static_cast<int>(png.height);
    image->rgba.assign(PNG_IMAGE_SIZE(png), 0);
    if (!png_image_finish_read(&png, nullptr, image->rgba.data(), 0, nullptr)) {
        png_image_free(&png);
        return *error = path + ": " + png.message, false;
    }
    return true;
}

bool WritePng(const std::string &path, const RgbaImage &image, std::string *error, int level) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return *error = path + ": no memory to encode the image", false;
    }
    std::string bytes;
    bytes.reserve(image.rgba.size() / 2);
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return *error = path + ": the image could not be encoded", false;
    }
    png_set_write_fn(
        png, &bytes,
        [](png_structp p, png_bytep data, png_size_t length) {
            static_cast<std::string *>(png_get_io_ptr(p))->append(reinterpret_cast<const char *>(data), length);
        },
        nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
                 PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_compression_level(png, level);
    // At the light levels the "up" filter alone: trying every filter on every
    // row costs more than it saves there.
    if (level <= 2) png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_UP);
    png_write_info(png, info);
    for (int y = 0; y < image.height; ++y)
        png_write_row(png, const_cast<png_bytep>(&image.rgba[static_cast<size_t>(y) * image.width * 4]));
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return WriteWhole(path, bytes, error);
}
#else
// The 32-bit build has no libpng to link: it reads and writes PAM only.
bool ReadPng(const std::string &path, RgbaImage *, std::string *error) {
    return *error = path + ": PNG pictures need the native build; give this one a .pam", false;
}
bool ReadPngBytes(const std::string &, const std::string &path, RgbaImage *image, std::string *error) {
    return ReadPng(path, image, error);
}
bool WritePng(const std::string &path, const RgbaImage &, std::string *error, int) {
    return *error = path + ": PNG pictures need the native build; give this one a .pam", false;
}
#endif

namespace {

bool EndsWith(const std::string &s, const char *tail) {
    size_t n = std::strlen(tail);
    return s.size() >= n && s.compare(s.size() - n, n, tail) == 0;
}

}  // namespace

// netpbm's PAM: a text header of WIDTH, HEIGHT, DEPTH (3 or 4), MAXVAL 255 and
// ENDHDR, comments after "#", then the bytes, rows top down.
bool ReadPamBytes(const std::string &bytes, const std::string &path, RgbaImage *image, std::string *error) {
    std::istringstream in(bytes);
    std::string line, word;
    long width = 0, height = 0, depth = 0, maxval = 0;
    if (!std::getline(in, line) || line != "P7") return *error = path + ": not a PAM picture (no P7 line)", false;
    while (std::getline(in, line) && line != "ENDHDR") {
        std::istringstream fields(line);
        if (!(fields >> word) || word[0] == '#') continue;
        long *into = word == "WIDTH" ? &width : word == "HEIGHT" ? &height : word == "DEPTH" ? &depth
                   : word == "MAXVAL" ? &maxval : nullptr;
        std::string value, rest;
        char *end = nullptr;
        if (into && (!(fields >> value) || (*into = std::strtol(value.c_str(), &end, 10), *end) || (fields >> rest)))
            return *error = path + ": its " + word + " is not a whole number", false;
    }
    if (line != "ENDHDR") return *error = path + ": its header has no ENDHDR", false;
    if (in.eof()) return *error = path + ": its pixels are cut short", false;  // no line end after ENDHDR
    if (width <= 0 || height <= 0 || width > 65535 || height > 65535 || (depth != 3 && depth != 4) || maxval != 255)
        return *error = path + ": only 8-bit RGB or RGBA PAM pictures of up to 65535 pixels a side are read", false;
    const size_t start = static_cast<size_t>(in.tellg());
    const size_t need = static_cast<size_t>(width) * height * depth;
    if (bytes.size() - start != need)
        return *error = path + ": its pixels are " + (bytes.size() - start < need ? "cut short" : "followed by more"), false;
    image->width = static_cast<int>(width);
    image->height = static_cast<int>(height);
    image->rgba.assign(static_cast<size_t>(width) * height * 4, 255);
    for (size_t i = 0; i < static_cast<size_t>(width) * height; ++i)
        for (int c = 0; c < depth; ++c) image->rgba[i * 4 + c] = static_cast<unsigned char>(bytes[start + i * depth + c]);
    return true;
}

bool WritePam(const std::string &path, const RgbaImage &image, std::string *error) {
    std::string bytes = "P7\nWIDTH " + std::to_string(image.width) + "\nHEIGHT " + std::to_string(image.height) +
                        "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    bytes.append(reinterpret_cast<const char *>(image.rgba.data()), image.rgba.size());
    return WriteWhole(path, bytes, error);
}

bool ReadPicture(const std::string &path, RgbaImage *image, std::string *error) {
    if (!EndsWith(path, ".pam")) return ReadPng(path, image, error);
    std::string bytes;
    return ReadWholeFile(path, &bytes, error) && ReadPamBytes(bytes, path, image, error);
}

bool WritePicture(const std::string &path, const RgbaImage &image, std::string *error, int level) {
    return EndsWith(path, ".pam") ? WritePam(path, image, error) : WritePng(path, image, error, level);
}

bool ReadDepthPfm(const std::string &path, RgbaImage *image, std::string *error) {
    std::string bytes;
    return ReadWholeFile(path, &bytes, error) && ReadDepthPfmBytes(bytes, path, image, error);
}

bool ReadDepthPfmBytes(const std::string &bytes, const std::string &path, RgbaImage *image, std::string *error) {
    std::istringstream in(bytes);
    std::string magic;
    int w = 0, h = 0;
    double scale = 0;
    if (!(in >> magic >> w >> h >> scale) || magic != "Pf" || w <= 0 || h <= 0 || scale == 0)
        return *error = path + ": not a single-channel PFM depth image", false;
    // One white-space character ends the header; a file written with
    // Windows line ends has two, "\r\n".
    if (in.get() == '\r' && in.peek() == '\n') in.get();
    if (w != image->width || h != image->height)
        return *error = path + ": the depth is " + std::to_string(w) + "x" + std::to_string(h) + ", the image " +
                        std::to_string(image->width) + "x" + std::to_string(image->height),
               false;
    const size_t start = in.eof() ? bytes.size() : static_cast<size_t>(in.tellg());
    const size_t need = static_cast<size_t>(w) * h * 4;
    if (bytes.size() - start < need) return *error = path + ": the depth data is cut short", false;
    if (bytes.size() - start > need)
        return *error = path + ": more depth data than " + std::to_string(w) + "x" + std::to_string(h) + " pixels", false;
    const unsigned char *data = reinterpret_cast<const unsigned char *>(bytes.data()) + start;
    bool little = scale < 0;
    image->depth.resize(static_cast<size_t>(w) * h);
    for (int row = 0; row < h; ++row)
        for (int x = 0; x < w; ++x) {
            const unsigned char *b = data + (static_cast<size_t>(row) * w + x) * 4;
            uint32_t bits = little ? (b[0] | b[1] << 8 | b[2] << 16 | static_cast<uint32_t>(b[3]) << 24)
                                   : (b[3] | b[2] << 8 | b[1] << 16 | static_cast<uint32_t>(b[0]) << 24);
            float v;
            std::memcpy(&v, &bits, 4);
            image->depth[static_cast<size_t>(h - 1 - row) * w + x] = v;  // bottom row first
        }
    return true;
}

bool WriteDepthPfm(const std::string &path, const RgbaImage &image, std::string *error) {
    std::ostringstream out;
    out << "Pf\n" << image.width << " " << image.height << "\n-1\n";
    for (int row = image.height - 1; row >= 0; --row)
        for (int x = 0; x < image.width; ++x) {
            float v = image.depth[static_cast<size_t>(row) * image.width + x];
            uint32_t bits;
            std::memcpy(&bits, &v, 4);
            for (int i = 0; i < 4; ++i) out.put(static_cast<char>(bits >> (8 * i)));
        }
    return WriteWhole(path, out.str(), error);
}
