// Runs a fuzz target over saved inputs without libFuzzer: every file given
// and every file in the folders given (the regression inputs of everything that once crashed a
// reader, and the seeds), so the ordinary builds, the sanitized one among
// them, replay them on every test run.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    int count = 0;
    auto replay = [&](const std::filesystem::path &file) {
        std::ifstream in(file, std::ios::binary);
        std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++count;
    };
    for (int i = 1; i < argc; ++i) {
        std::error_code why;
        if (std::filesystem::is_regular_file(argv[i], why)) {
            replay(argv[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[i], why))
            if (entry.is_regular_file()) replay(entry.path());
        if (why) {
            std::fprintf(stderr, "%s: %s\n", argv[i], why.message().c_str());
            return 1;
        }
    }
    std::printf("%d inputs replayed\n", count);
    return count > 0 ? 0 : 1;
}
