// Output written whole or not at all. The bytes go to a uniquely named file
// beside the target, every write and the close are checked, the data is
// flushed to the disk, and only then is it renamed over the target: on any
// failure the target is as it was and nothing temporary is left. A target
// that is not a regular file (a device, a pipe) is written through instead;
// a symbolic link is followed to the file it names. Two writers to one path
// leave one whole file, the later one's. An interrupt (Ctrl-C) removes the
// temporary files under way.
#pragma once

#include <string>

class WholeFile {
public:
    WholeFile() = default;
    WholeFile(const WholeFile &) = delete;
    WholeFile &operator=(const WholeFile &) = delete;
    ~WholeFile();  // abandons what was not committed

    // Prepares the target; false with the reason.
    bool Open(const std::string &target, std::string *error);
    // Where the bytes go: the temporary file, or the target itself when it is
    // written through. Another writer may open it by name and write it.
    const std::string &WritePath() const { return writePath_; }
    bool Write(const void *bytes, size_t count, std::string *error);
    // Flushes, closes and renames into place; false, with the target kept, on
    // any failure.
    bool Commit(std::string *error);
    void Abandon();

private:
    std::string target_, writePath_;
    int fd_ = -1;
    bool through_ = false, open_ = false;
    int pendingSlot_ = -1;  // its place among the files removed on an interrupt
};

// The whole of `bytes` as the file at `path`.
bool WriteWhole(const std::string &path, const std::string &bytes, std::string *error);

// For readers: false, with "PATH: not a file", for a folder or a device (which
// might never end); a path that is not there passes, for the reader to report.
bool NotDeviceOrFolder(const std::string &path, std::string *error);
