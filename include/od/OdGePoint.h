// OdGePoint2d / OdGePoint3d: the drawing SDK's geometry points, as plain
// coordinate records (configuration values store them).
#pragma once

struct OdGePoint2d {
    double x = 0.0;
    double y = 0.0;
    OdGePoint2d() = default;
    OdGePoint2d(double x_, double y_) : x(x_), y(y_) {}
    friend bool operator==(const OdGePoint2d& a, const OdGePoint2d& b) { return a.x == b.x && a.y == b.y; }
    friend bool operator!=(const OdGePoint2d& a, const OdGePoint2d& b) { return !(a == b); }
};

struct OdGePoint3d {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    OdGePoint3d() = default;
    OdGePoint3d(double x_, double y_, double z_) : x(x_), y(y_), z(z_) {}
    friend bool operator==(const OdGePoint3d& a, const OdGePoint3d& b) { return a.x == b.x && a.y == b.y && a.z == b.z; }
    friend bool operator!=(const OdGePoint3d& a, const OdGePoint3d& b) { return !(a == b); }
};
