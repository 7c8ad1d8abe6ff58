// Points, sizes and rectangles. The plain records travel in arrays and across the interface; the classes add
// constructors and nothing else. A rectangle holds left and top, and excludes right and bottom unless a
// function says otherwise.
#pragma once

#include "qvlibs/framework/Types.h"

struct POINT {
    LONG x = 0;
    LONG y = 0;
};

struct SIZE {
    LONG cx = 0;
    LONG cy = 0;
};

struct RECT {
    LONG left = 0;
    LONG top = 0;
    LONG right = 0;
    LONG bottom = 0;
};

inline bool operator==(const POINT& a, const POINT& b) { return a.x == b.x && a.y == b.y; }
inline bool operator==(const SIZE& a, const SIZE& b) { return a.cx == b.cx && a.cy == b.cy; }
inline bool operator==(const RECT& a, const RECT& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

class CPoint : public POINT {
public:
    CPoint() = default;
    CPoint(int initX, int initY) : POINT{initX, initY} {}
    CPoint(const POINT& point) : POINT(point) {}
};

class CSize : public SIZE {
public:
    CSize() = default;
    CSize(int initCx, int initCy) : SIZE{initCx, initCy} {}
    CSize(const SIZE& size) : SIZE(size) {}
};

class CRect : public RECT {
public:
    CRect() = default;
    CRect(int initLeft, int initTop, int initRight, int initBottom)
        : RECT{initLeft, initTop, initRight, initBottom} {}
    CRect(const RECT& rect) : RECT(rect) {}
    CRect(POINT topLeft, SIZE size) : RECT{topLeft.x, topLeft.y, topLeft.x + size.cx, topLeft.y + size.cy} {}

    int Width() const { return right - left; }
    int Height() const { return bottom - top; }
    CSize Size() const { return {Width(), Height()}; }
};
