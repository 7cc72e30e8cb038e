// Curves shared by the plug-ins: the cubic Hermite segment between two values
// with given end slopes, held flat outside its span, and the bias and gain
// curves that skew and sharpen a transition from 0 to 1.
#pragma once

// y0 at and below x0, y1 at and above x1, the cubic with slopes slope0 and
// slope1 (per unit of x) in between.
double Hermite(double x, double x0, double x1, double y0, double y1, double slope0, double slope1);

// A transition from 0 to 1 over x in 0 to 1 that passes through b at x = 0.5:
// b below 0.5 holds it low longer, above 0.5 raises it sooner.
double Bias(double x, double b);
// A transition from 0 to 1 through 0.5 at x = 0.5, steeper there for g below
// 0.5 and flatter for g above.
double Gain(double x, double g);
