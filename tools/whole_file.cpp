#include "tools/whole_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Temporary files under way, removed if the program is interrupted (Ctrl-C or
// a terminate) before they are renamed into place.
constexpr int kPendingMost = 8;
char pending[kPendingMost][PATH_MAX];
volatile sig_atomic_t pendingUsed[kPendingMost];

void RemovePendingAndStop(int signal) {
    for (int i = 0; i < kPendingMost; ++i)
        if (pendingUsed[i]) unlink(pending[i]);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

int Remember(const std::string &path) {
    static bool handling = false;
    if (!handling) {
        std::signal(SIGINT, RemovePendingAndStop);
        std::signal(SIGTERM, RemovePendingAndStop);
        handling = true;
    }
    for (int i = 0; i < kPendingMost; ++i)
        if (!pendingUsed[i] && path.size() < PATH_MAX) {
            std::memcpy(pending[i], path.c_str(), path.size() + 1);
            pendingUsed[i] = 1;
            return i;
        }
    return -1;
}

void Forget(int slot) {
    if (slot >= 0) pendingUsed[slot] = 0;
}

std::string Reason(const std::string &path) { return path + ": cannot be written (" + std::strerror(errno) + ")"; }

}  // namespace

WholeFile::~WholeFile() { Abandon(); }

bool WholeFile::Open(const std::string &target, std::string *error) {
    Abandon();
    target_ = target;
    // A link is followed: the file it names is the one replaced.
    char resolved[PATH_MAX];
    struct stat info {};
    if (lstat(target.c_str(), &info) == 0 && S_ISLNK(info.st_mode) && realpath(target.c_str(), resolved)) target_ = resolved;
    bool exists = stat(target_.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode)) return *error = target + ": is a folder", false;
    if (exists && !S_ISREG(info.st_mode)) {
        // A device or a pipe cannot be replaced: it is written through.
        fd_ = open(target_.c_str(), O_WRONLY);
        if (fd_ < 0) return *error = Reason(target), false;
        through_ = open_ = true;
        writePath_ = target_;
        return true;
    }
    std::string pattern = target_ + ".vesk-XXXXXX";
    fd_ = mkstemp(pattern.data());
    if (fd_ < 0) return *error = Reason(target), false;
    writePath_ = pattern;
    open_ = true;
    pendingSlot_ = Remember(writePath_);
    // As a plainly created file would be: the old file's mode, or the usual one.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(fd_, exists ? (info.st_mode & 07777) : (0666 & ~mask));
    return true;
}

bool WholeFile::Write(const void *bytes, size_t count, std::string *error) {
    const char *at = static_cast<const char *>(bytes);
    while (count > 0) {
        ssize_t n = write(fd_, at, count);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            *error = Reason(target_);
            Abandon();
            return false;
        }
        at += n;
        count -= static_cast<size_t>(n);
    }
    return true;
}

bool WholeFile::Commit(std::string *error) {
    if (!open_) return *error = target_ + ": cannot be written", false;
    bool ok = through_ || fsync(fd_) == 0;
    ok = close(fd_) == 0 && ok;
    fd_ = -1;
    if (!ok) {
        *error = Reason(target_);
        Abandon();
        return false;
    }
    open_ = false;
    if (through_) return true;
    bool renamed = std::rename(writePath_.c_str(), target_.c_str()) == 0;
    if (!renamed) {
        *error = Reason(target_);
        std::remove(writePath_.c_str());
    }
    Forget(pendingSlot_);
    pendingSlot_ = -1;
    return renamed;
}

void WholeFile::Abandon() {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    if (open_ && !through_) std::remove(writePath_.c_str());
    open_ = false;
    Forget(pendingSlot_);
    pendingSlot_ = -1;
}

bool WriteWhole(const std::string &path, const std::string &bytes, std::string *error) {
    WholeFile file;
    return file.Open(path, error) && file.Write(bytes.data(), bytes.size(), error) && file.Commit(error);
}

bool NotDeviceOrFolder(const std::string &path, std::string *error) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode)) return true;
    *error = path + ": not a file";
    return false;
}
