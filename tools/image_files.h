// Image files for the vesk command: 8-bit RGBA PNG through libpng (or netpbm's
// PAM, which the 32-bit build, without libpng, reads and writes), and depth as
// a single-channel 32-bit float PFM ("Pf", the Portable Float Map that
// ImageMagick, GIMP and netpbm read and write; rows bottom up, as that format
// stores them). Writes go to a temporary file renamed into place, so a failed
// write leaves nothing half-written.
#pragma once

#include <string>

#include "host/passes.h"
#include "tools/whole_file.h"

bool ReadPng(const std::string &path, RgbaImage *image, std::string *error);
// The same from a file's bytes already in memory; path only names it in errors.
bool ReadPngBytes(const std::string &bytes, const std::string &path, RgbaImage *image, std::string *error);
// zlib's level, 0 (stored) to 9 (smallest); the default suits rendered frames.
constexpr int kDefaultPngLevel = 1;
bool WritePng(const std::string &path, const RgbaImage &image, std::string *error, int level = kDefaultPngLevel);
// A picture by its name: ".pam" is PAM, anything else PNG.
bool ReadPicture(const std::string &path, RgbaImage *image, std::string *error);
bool WritePicture(const std::string &path, const RgbaImage &image, std::string *error, int level = kDefaultPngLevel);
bool ReadPamBytes(const std::string &bytes, const std::string &path, RgbaImage *image, std::string *error);
// Depth of the same size as the image, into image->depth.
bool ReadDepthPfm(const std::string &path, RgbaImage *image, std::string *error);
bool ReadDepthPfmBytes(const std::string &bytes, const std::string &path, RgbaImage *image, std::string *error);
bool WriteDepthPfm(const std::string &path, const RgbaImage &image, std::string *error);
