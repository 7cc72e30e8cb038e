#include "helpers/curves.h"

double Hermite(double x, double x0, double x1, double y0, double y1, double slope0, double slope1) {
    if (x >= x1) return y1;
    if (x <= x0) return y0;
    double span = x1 - x0, u = (x - x0) / span;
    return (3 - 2 * u) * u * u * (y1 - y0) + y0 + ((u - 2) * u + 1) * (slope0 / span) * u + (slope1 / span) * (u - 1) * u * u;
}

double Bias(double x, double b) {
    if (x <= 0) return 0;
    if (x >= 1) return 1;
    if (b >= 1) return 1;
    if (b <= 0) return 0;
    return x / ((1 / b - 2) * (1 - x) + 1);
}

double Gain(double x, double g) {
    if (x <= 0) return 0;
    if (x >= 1) return 1;
    if (x >= 0.5) {
        if (g <= 0) return 1;
        if (g >= 1) return 0.5;
        double k = (1 - 2 * x) * (1 / g - 2);
        return (k - x) / (k - 1);
    }
    if (g <= 0) return 0;
    if (g >= 1) return 0.5;
    return x / ((1 - 2 * x) * (1 / g - 2) + 1);
}
