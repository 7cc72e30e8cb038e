// Writes the module's stored artwork source file (the path given) from the
// drawings in draw.h.
#include <cstdio>

#include "tools/artwork/generate.h"

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_artwork OUT.cpp\n");
        return 2;
    }
    std::FILE *out = std::fopen(argv[1], "wb");
    if (!out) {
        std::fprintf(stderr, "make_artwork: %s: cannot be written\n", argv[1]);
        return 1;
    }
    std::string text = artwork::GeneratedSource();
    std::fwrite(text.data(), 1, text.size(), out);
    std::fclose(out);
    return 0;
}
