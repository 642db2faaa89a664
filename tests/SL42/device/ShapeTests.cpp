// SPDX-License-Identifier: MIT
// Part of Starloom 42.
//
// Every drawing function, pixel by pixel, against distances that are worked out differently here:
// by double-precision geometry on the host.
#include "SL42/hardware/Screen.h"
#include "tests/SL42/device/DeviceFixture.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace starloom {
namespace {

struct Point {
    double x = 0;
    double y = 0;
};

Point operator-(Point a, Point b) {
    return {a.x - b.x, a.y - b.y};
}
double length(Point p) {
    return std::hypot(p.x, p.y);
}
double cross(Point a, Point b) {
    return a.x * b.y - a.y * b.x;
}

double toSegment(Point p, Point a, Point b) {
    const Point along = b - a;
    const double squared = along.x * along.x + along.y * along.y;
    const double at = ((p - a).x * along.x + (p - a).y * along.y) / squared;
    if (at <= 0)
        return length(p - a);
    if (at >= 1)
        return length(p - b);
    return std::abs(cross(along, p - a)) / std::sqrt(squared);
}

double toTriangle(Point p, Point a, Point b, Point c) {
    const double distance = std::min({toSegment(p, a, b), toSegment(p, b, c), toSegment(p, c, a)});
    const bool left = cross(b - a, p - a) > 0;
    const bool inside = left == (cross(c - b, p - b) > 0) && left == (cross(a - c, p - c) > 0);
    return inside ? -distance : distance;
}

// Signed distance to an upright rectangle with square corners.
double toBox(Point p, Point low, Point high) {
    const double outsideX = std::max({low.x - p.x, p.x - high.x});
    const double outsideY = std::max({low.y - p.y, p.y - high.y});
    if (outsideX <= 0 && outsideY <= 0)
        return std::max(outsideX, outsideY);
    return length({std::max(outsideX, 0.0), std::max(outsideY, 0.0)});
}

double toRoundBox(Point p, Point low, Point size, double radius) {
    return toBox(p, {low.x + radius, low.y + radius},
                 {low.x + size.x - radius, low.y + size.y - radius}) -
           radius;
}

// How much an edge covers that fades out from distance 0 to `width`.
double fade(double distance, double width = 1) {
    const double t = std::clamp(distance / width, 0.0, 1.0);
    return 1 - t * t * (3 - 2 * t);
}

// The scaled distance by which ellipses are drawn: exact on the horizontal axis.
double toEllipse(Point q, Point radii) {
    return length({q.x, q.y * radii.x / radii.y}) - radii.x;
}

double ellipse(Point p, Point center, Point radii) {
    const Point q = p - center;
    const double height = q.y / radii.y; // in radii
    return fade(toEllipse(q, radii) * (height * height * radii.y / radii.x + 1), 2);
}

double ellipseOutline(Point p, Point center, Point radii, double thickness) {
    const double half = (thickness - 1) / 2;
    const Point inner{radii.x - half, radii.y - half};
    const Point outer{radii.x + half, radii.y + half};
    const Point q = p - center;
    const double fromOuter = toEllipse(q, outer);
    const double fromInner = -toEllipse(q, inner);
    const bool nearOuter = fromOuter >= fromInner;
    const Point nearest = nearOuter ? outer : inner;
    const double height = q.y * outer.x / outer.y / nearest.x;
    const double distance = std::max(fromOuter, fromInner);
    return fade(distance * (height * height * nearest.y / nearest.x + 1), 2 * height * height + 1);
}

// Square outlines are measured along the axes, corners included, and one pixel wide at least.
double squareOutline(Point p, Point low, Point high, double half) {
    const double x = std::max(low.x - p.x, p.x - high.x);
    const double y = std::max(low.y - p.y, p.y - high.y);
    return std::abs(std::max(x, y)) - half < 1 ? 1 : 0;
}

struct Shape {
    const char* call;
    std::function<double(Point)> coverage;
};

const Shape shapes[] = {
    {"circ(float2(300.5, 200.25), 40.5, c);",
     [](Point p) { return fade(length(p - Point{300.5, 200.25}) - 40.5); }},
    {"circ(float2(-5, 540), 30, c);",
     [](Point p) { return fade(length(p - Point{-5, 540}) - 30); }},
    {"circb(float2(400, 300), 100, c);",
     [](Point p) { return fade(std::abs(length(p - Point{400, 300}) - 100)); }},
    {"circb(float2(400, 300), 100, c, 7);",
     [](Point p) { return fade(std::abs(length(p - Point{400, 300}) - 100) - 3); }},
    {"elli(float2(480, 270), float2(200, 90), c);",
     [](Point p) { return ellipse(p, {480, 270}, {200, 90}); }},
    {"elli(float2(480.5, 270), float2(40, 180), c);",
     [](Point p) { return ellipse(p, {480.5, 270}, {40, 180}); }},
    {"ellib(float2(480, 270), float2(200, 90), c);",
     [](Point p) { return ellipseOutline(p, {480, 270}, {200, 90}, 1); }},
    {"ellib(float2(480, 270), float2(60, 150), c, 12);",
     [](Point p) { return ellipseOutline(p, {480, 270}, {60, 150}, 12); }},
    {"line(float2(100, 50), float2(700.5, 400), c);",
     [](Point p) { return fade(toSegment(p, {100, 50}, {700.5, 400})); }},
    {"line(float2(700, 50), float2(650, 500), c, 9);",
     [](Point p) { return fade(toSegment(p, {700, 50}, {650, 500}) - 4.5); }},
    {"rect(float2(100, 100), float2(50, 30), c);",
     [](Point p) { return toBox(p, {100, 100}, {150, 130}) < 0 ? 1 : 0; }},
    {"rect(float2(100.5, 99.75), float2(200, 100), c);",
     [](Point p) { return toBox(p, {100.5, 99.75}, {300.5, 199.75}) < 0 ? 1 : 0; }},
    {"rect(float2(300, 200), float2(200, 120), c, 25);",
     [](Point p) { return fade(toRoundBox(p, {300, 200}, {200, 120}, 25)); }},
    {"rectb(float2(300, 200), float2(200, 120), c);",
     [](Point p) { return squareOutline(p, {300, 200}, {500, 320}, 0); }},
    {"rectb(float2(300.5, 200.5), float2(200, 120), c, 0, 6);",
     [](Point p) { return squareOutline(p, {300.5, 200.5}, {500.5, 320.5}, 3); }},
    {"rectb(float2(300, 200), float2(200, 120), c, 30, 5);",
     [](Point p) { return fade(std::abs(toRoundBox(p, {300, 200}, {200, 120}, 30)) - 2.5); }},
    {"tri(float2(100, 100), float2(400.5, 150), float2(250, 400), c);",
     [](Point p) { return fade(toTriangle(p, {100, 100}, {400.5, 150}, {250, 400})); }},
    {"tri(float2(250, 400), float2(400.5, 150), float2(100, 100), c);",
     [](Point p) { return fade(toTriangle(p, {100, 100}, {400.5, 150}, {250, 400})); }},
    {"trib(float2(500, 500), float2(900, 510), float2(700, 20), c, 8);",
     [](Point p) { return fade(std::abs(toTriangle(p, {500, 500}, {900, 510}, {700, 20})) - 4); }},
    {"trib(float2(500, 500), float2(900, 510), float2(700, 20), c);",
     [](Point p) { return fade(std::abs(toTriangle(p, {500, 500}, {900, 510}, {700, 20}))); }},
};

using ShapeTest = DeviceTest;

} // namespace

TEST_F(ShapeTest, CoversTheRightPixels) {
    constexpr double red = 1, green = 0.5, blue = 0.25, alpha = 0.75;
    start("void fx() {}");
    for (const Shape& shape : shapes) {
        compile(std::string("void fx() {\nfloat4 c = float4(1, .5, .25, .75);\n") + shape.call +
                "\n}");
        drawFrame();
        ASSERT_FALSE(engine->hasError().get()) << engine->error().get();
        const Picture picture = this->picture();
        int covered = 0;
        int wrong = 0;
        for (int y = 0; y < static_cast<int>(screenHeight); ++y)
            for (int x = 0; x < static_cast<int>(screenWidth); ++x) {
                // The colour is blended over nothing twice: into the pixel, then into the bank.
                const double a = alpha * shape.coverage({double(x), double(y)});
                const Color expected{red * a * a, green * a * a, blue * a * a, a};
                covered += a > 0.1;
                // Four roundings to half precision, and distances of some hundred pixels in single
                // precision under the steepest edge.
                if (difference(picture.at(x, y), expected) > 0.003 && ++wrong <= 3)
                    ADD_FAILURE() << shape.call << " at " << x << ", " << y << ": "
                                  << picture.at(x, y)[3] << " instead of " << a;
            }
        EXPECT_EQ(wrong, 0) << shape.call;
        EXPECT_GT(covered, 100) << shape.call << ": the test would see nothing";
    }
}

TEST_F(ShapeTest, DefaultsAndOverloads) {
    const Picture picture = pictureOf(R"(void fx() {
        if (coords.y == 0) cls(float3(.25, .5, 1));
        if (coords.y == 1) cls(.5);
        if (coords.y == 2) cls(float4(1, 0, 0, .5));
        if (coords.y == 3) { cls(float3(1)); cls(); cls(0); }
        if (coords.y == 4) pix(float3(.25, .5, 1), coords);
        if (coords.y == 5) pix(.5, coords);
        if (coords.y == 6) { pix(float4(1, 1, 1, 1), coords); pix(pix(coords + .25) * .5, coords); }
    })");
    const Color rows[] = {
        {.25, .5, 1, 1}, {.125, .125, .125, .5}, {.25, 0, 0, .5},    {1, 1, 1, 1},
        {.25, .5, 1, 1}, {.125, .125, .125, .5}, {.75, .75, .75, 1}, {0, 0, 0, 0}};
    for (int y = 0; y < 8; ++y)
        EXPECT_LT(difference(picture.at(17, y), rows[y]), 0.001) << "row " << y;
}

} // namespace starloom
