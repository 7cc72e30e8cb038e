// Object files (IFF "FORM" with "LWOB" or "LWO2"): the points and the face
// polygons, which the embedded host needs to displace an object and to write it
// out. LWO2 layers are read in file order and their points put one after another.
#pragma once

#include <array>
#include <string>
#include <vector>

struct ObjectGeometry {
    std::vector<std::array<double, 3>> points;
    std::vector<std::vector<int>> polygons;  // indices into points
};

// False, with the reason, for a file that is not an object or is cut short.
bool ReadObjectFile(const std::string &path, ObjectGeometry *out, std::string *error);
bool ReadObjectBytes(const std::vector<unsigned char> &bytes, ObjectGeometry *out, std::string *error);
