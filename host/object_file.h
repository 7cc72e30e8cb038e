// Object files (IFF "FORM" with "LWOB" or "LWO2"): the points, the face
// polygons with their surfaces, and each surface's shading values and shader
// plug-ins, which the embedded host needs to displace, write and render an
// object. LWO2 layers are read in file order and their points put one after
// another, as they stand in the file (not moved by the layer's pivot).
#pragma once

#include <array>
#include <string>
#include <vector>

// A shader plug-in of a surface: its server and the bytes its save wrote in
// the object (binary) mode.
struct SurfaceShader {
    std::string server;
    std::vector<unsigned char> data;
};

// A surface's base values, 0 to 1 unless said; a surface named by polygons but
// not described has LightWave's defaults.
struct Surface {
    std::string name;
    std::array<double, 3> color{200 / 255.0, 200 / 255.0, 200 / 255.0};
    double luminosity = 0, diffuse = 1, specular = 0, mirror = 0, transparency = 0;
    double glossiness = 64;  // the highlight's exponent: 16 low, 64 medium, 256 high, 1024 most
    double eta = 1;          // refractive index
    double smoothing = 0;    // largest angle (radians) between polygons shaded smooth; 0: faceted
    bool doubleSided = false;
    std::vector<SurfaceShader> shaders;  // applied in this order
};

struct ObjectGeometry {
    std::vector<std::array<double, 3>> points;
    std::vector<std::vector<int>> polygons;  // indices into points
    std::vector<int> polygonSurface;         // per polygon, an index into surfaces
    std::vector<Surface> surfaces;
};

// False, with the reason, for a file that is not an object or is cut short.
bool ReadObjectFile(const std::string &path, ObjectGeometry *out, std::string *error);
bool ReadObjectBytes(const std::vector<unsigned char> &bytes, ObjectGeometry *out, std::string *error);
