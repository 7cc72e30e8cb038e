// Pi and the conversions the collection makes between the host's units,
// each written once: angles (the host keeps degrees in its files and panels,
// radians in its records) and colour levels (bytes 0 to 255 against 0 to 1).
#pragma once

constexpr double kPi = 3.14159265358979323846;

constexpr double kRadiansPerDegree = 0.017453292519943295;
constexpr double kDegreesPerRadian = 57.29577951308232;
// One byte level as a share of full: a byte times this is its 0-to-1 value.
constexpr double kPerByteLevel = 0.00392156862745098;
