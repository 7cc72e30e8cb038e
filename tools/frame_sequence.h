// Frame sequences for the vesk command: file name patterns with one frame
// number, and the frames of a range worked by worker processes (copies of the
// command, each with its work already set up), their reports gathered on a
// pipe with a progress bar on the terminal.
#pragma once

#include <functional>
#include <string>
#include <vector>

// A frame pattern holds one printf-style number, %d or %04d: "%%" stands for
// a percent sign. Any other use of % is refused.
bool IsFramePattern(const std::string &pattern);
std::string FrameFile(const std::string &pattern, int frame);
// A plain file name made a pattern: the frame number, four digits, after an
// underscore before the extension ("dust.obj" gives "dust_%04d.obj"); a name
// that is a pattern already stays as it is.
std::string SequencePattern(const std::string &out);

struct SequenceResult {
    int done = 0, written = 0, jobs = 1;
    std::vector<std::string> failures;  // one line per frame that failed
    double seconds = 0;
};

// Runs work(frame, &error) for first..last, by `jobs` workers (one: in this
// process), every jobs-th frame each.
SequenceResult RunSequence(int first, int last, int jobs, const std::function<bool(int, std::string *)> &work);

// -j's value: empty gives the machine's cores; never more than the frames.
bool JobCount(const std::string &text, int frames, int *jobs);
