#include "tools/frame_sequence.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <chrono>
#include <cstdio>

#include "tools/command_line.h"

bool IsFramePattern(const std::string &pattern) {
    int numbers = 0;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] != '%') continue;
        if (i + 1 < pattern.size() && pattern[i + 1] == '%') {
            ++i;
            continue;
        }
        size_t j = i + 1;
        while (j < pattern.size() && std::isdigit(static_cast<unsigned char>(pattern[j]))) ++j;
        if (j >= pattern.size() || pattern[j] != 'd' || j - i > 4) return false;
        ++numbers;
        i = j;
    }
    return numbers == 1;
}

std::string FrameFile(const std::string &pattern, int frame) {
    char name[4096];
    std::snprintf(name, sizeof name, pattern.c_str(), frame);
    return name;
}

std::string SequencePattern(const std::string &out) {
    if (IsFramePattern(out)) return out;
    std::string escaped;
    for (char c : out) escaped += c == '%' ? std::string("%%") : std::string(1, c);
    size_t dot = escaped.find_last_of('.'), slash = escaped.find_last_of("/\\");
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = escaped.size();
    return escaped.substr(0, dot) + "_%04d" + escaped.substr(dot);
}

bool JobCount(const std::string &text, int frames, int *jobs) {
    long cores = sysconf(_SC_NPROCESSORS_ONLN);
    long asked = cores > 0 ? cores : 1;
    if (!text.empty() && !WholeNumber(text, 1, 256, &asked)) return false;
    *jobs = static_cast<int>(asked > frames ? frames : asked);
    return true;
}

namespace {

// What a worker tells the command after each frame: fixed size, so that one
// write is one message on the pipe.
struct FrameReport {
    int frame;
    int ok;
    char error[480];
};

FrameReport Report(int frame, bool ok, const std::string &error) {
    FrameReport r{frame, ok ? 1 : 0, {}};
    std::snprintf(r.error, sizeof r.error, "%s", error.c_str());
    return r;
}

}  // namespace

SequenceResult RunSequence(int first, int last, int jobs, const std::function<bool(int, std::string *)> &work) {
    SequenceResult result;
    const int count = last - first + 1;
    auto start = std::chrono::steady_clock::now();
    auto take = [&](const FrameReport &r) {
        ++result.done;
        if (r.ok)
            ++result.written;
        else
            result.failures.push_back(r.error);
        DrawProgress(result.done, count);
    };
    result.jobs = jobs;
    if (jobs <= 1) {
        result.jobs = 1;
        for (int frame = first; frame <= last; ++frame) {
            std::string error;
            bool ok = work(frame, &error);
            take(Report(frame, ok, error));
        }
    } else {
        int ends[2];
        if (pipe(ends) != 0) {
            result.failures.push_back("cannot start the workers");
            return result;
        }
        std::fflush(stdout);
        std::vector<pid_t> workers;
        for (int index = 0; index < jobs; ++index) {
            pid_t pid = fork();
            if (pid == 0) {
                close(ends[0]);
                for (int frame = first + index; frame <= last; frame += jobs) {
                    std::string error;
                    bool ok = work(frame, &error);
                    FrameReport r = Report(frame, ok, error);
                    ssize_t written = write(ends[1], &r, sizeof r);
                    (void)written;
                }
                std::fflush(stdout);
                _exit(0);
            }
            if (pid > 0) workers.push_back(pid);
        }
        close(ends[1]);
        FrameReport r;
        while (read(ends[0], &r, sizeof r) == static_cast<ssize_t>(sizeof r)) take(r);
        close(ends[0]);
        for (pid_t pid : workers) waitpid(pid, nullptr, 0);
        result.jobs = static_cast<int>(workers.size());
    }
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}
