#include "export/motion_export.h"

#include <cmath>
#include <cstdio>

#include "export/g_format.h"
#include "helpers/units.h"
#include "services/host_services.h"

namespace {


double NearTurn(double angle, double previous) {
    return angle - 2 * kPi * std::floor((angle - previous + kPi) / (2 * kPi));
}

}  // namespace

int ExportKeyCount(int endFrame, double density) {
    int n = static_cast<int>(std::floor((endFrame + 1) * density + 0.5));
    if (n < 2) n = 1;
    if (n > endFrame + 1) n = endFrame + 1;
    return n < 1 ? 1 : n;
}

int ExportKeyFrame(int i, int keyCount, int endFrame) {
    return keyCount <= 1 ? 0 : static_cast<int>(static_cast<long long>(i) * endFrame / (keyCount - 1));
}

Vec3 ContinuousHpb(const Vec3 candidates[2], const Vec3 &previous) {
    Vec3 best{};
    double bestDistance = 0;
    for (int c = 0; c < 2; ++c) {
        Vec3 moved;
        double distance = 0;
        for (int i = 0; i < 3; ++i) {
            moved[i] = NearTurn(candidates[c][i], previous[i]);
            distance += (moved[i] - previous[i]) * (moved[i] - previous[i]);
        }
        if (c == 0 || distance < bestDistance) best = moved, bestDistance = distance;
    }
    return best;
}

void SampleExportKey(LWItemID item, double time, bool parentCoordinates, Vec3 *previous, double values[9]) {
    if (parentCoordinates) {
        const LWItemInfo *info = hostServices.itemInfo;
        info->param(item, LWIP_POSITION, time, values);
        info->param(item, LWIP_ROTATION, time, values + 3);
        info->param(item, LWIP_SCALING, time, values + 6);
        return;
    }
    Decomposition d = Decompose(ItemWorldTransform(item, time));
    Vec3 hpb = ContinuousHpb(d.hpb, *previous);
    *previous = hpb;
    for (int i = 0; i < 3; ++i) {
        values[i] = d.position[i];
        values[3 + i] = hpb[i];
        values[6 + i] = d.scale[i];
    }
}

void WriteMotionHeader(std::FILE *file, int keyCount) { std::fprintf(file, "LWMO\r\n1\r\n9\r\n%d\r\n", keyCount); }

void WriteMotionKey(std::FILE *file, const double v[9], int frame) {
    // The two lines as "%g %g ... %g" and "%d 0 0 0 0" write them, in one write.
    char line[9 * kGTextRoom + 48];
    int n = 0;
    for (int i = 0; i < 9; ++i) {
        if (i) line[n++] = ' ';
        n += FormatG(i >= 3 && i < 6 ? v[i] * kDegreesPerRadian : v[i], line + n);
    }
    n += std::snprintf(line + n, sizeof line - n, "\r\n%d 0 0 0 0\r\n", frame);
    std::fwrite(line, 1, static_cast<size_t>(n), file);
}

bool ExportMotionFile(const ExportRequest &r, const char *path) {
    std::FILE *file = std::fopen(path, "wb");
    if (!file) return false;
    int n = ExportKeyCount(r.endFrame, r.density);
    WriteMotionHeader(file, n);
    Vec3 previous{0, 0, 0};
    for (int i = 0; i < n; ++i) {
        if (r.progress && !r.progress(r.progressData, i + 1, n)) break;
        int frame = ExportKeyFrame(i, n, r.endFrame);
        double values[9];
        SampleExportKey(r.item, frame / r.framesPerSecond, r.parentCoordinates, &previous, values);
        WriteMotionKey(file, values, frame);
    }
    // A full disk shows at the latest when the last bytes are flushed.
    bool written = !std::ferror(file);
    return std::fclose(file) == 0 && written;
}
