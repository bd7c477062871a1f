// Which pixels does a transformed rectangle cover? Rings of vertices are mapped and clipped, cut into trapezoids, and
// the trapezoids into runs of pixels.
//
// Plain records and plain functions. Pixel column i covers i to i + 1, its centre lies at i + 0.5; y grows downward.
// All quantities are held in single precision. Every record is an allocation of its own; where one fails, what the
// function was given and had made is released, it answers null, and `*failed`, where given, is set.
#pragma once

namespace geom {

/// A corner of a polygon, in a ring of corners. Null is the empty polygon; rings are convex, of either orientation.
struct vertex {
    float x;
    float y;
    float slope; ///< dy/dx of the edge that leaves this vertex; written by getTrapList alone
    vertex* next;
};

/// Left, top, right, bottom.
struct rect {
    float x1;
    float y1;
    float x2;
    float y2;
};

/// x' = a*x + b*y + tx, y' = c*x + d*y + ty.
struct affine {
    float a = 1;
    float b = 0;
    float c = 0;
    float d = 1;
    float tx = 0;
    float ty = 0;

    constexpr affine() noexcept = default;
    constexpr affine(float a_, float b_, float c_, float d_, float tx_, float ty_) noexcept
        : a(a_), b(b_), c(c_), d(d_), tx(tx_), ty(ty_) {}
};

/// A trapezoid with horizontal top and bottom. Lists begin with a dummy head.
struct trap {
    float y1;
    float y2;
    float xl1;
    float xr1;
    float xl2;
    float xr2;
    trap* next;
};

/// A run of pixels, both ends inclusive. Lists begin with a dummy head; runs come from top to bottom, at most one a
/// row.
struct scan {
    long y;
    long x1;
    long x2;
    scan* next;
};

/// How near is equal: snapping, flat edges, equal ends of chains.
inline constexpr float GEOM_SNAP = 0.00005F;
/// A centre up to a millionth of a pixel left of the left edge counts as covered.
inline constexpr float GEOM_LEFT_BIAS = 0.499999F;
inline constexpr float GEOM_RIGHT_BIAS = -0.5F;

/// Truncates toward zero and takes one off a negative value. An exact negative integer so lands one below its floor,
/// as intended.
long geom_floor(float v) noexcept;

affine rotate(float angle) noexcept;
affine scale(float sx, float sy) noexcept;
affine translate(float tx, float ty) noexcept;
/// Exchanges x and y.
affine transpose() noexcept;
/// No guard against a zero determinant.
affine invert(const affine& m) noexcept;
/// Replaces `v` by its image under the linear part.
void lmap(vertex* v, const affine& m) noexcept;
void affmap(vertex* v, const affine& m) noexcept;

vertex* getRect(rect r, bool* failed = nullptr) noexcept;
vertex* copy_vlist(const vertex* ring, bool* failed = nullptr) noexcept;
void destroy_vlist(vertex* ring) noexcept;
void map_vlist(vertex* ring, const affine& m) noexcept;

/// Remove what lies above, below, left, right of a line. A ring with nothing strictly outside stays as it is; one with
/// nothing strictly inside becomes null.
void tclip(vertex** ring, float y, bool* failed = nullptr) noexcept;
void bclip(vertex** ring, float y, bool* failed = nullptr) noexcept;
void lclip(vertex** ring, float x, bool* failed = nullptr) noexcept;
void rclip(vertex** ring, float x, bool* failed = nullptr) noexcept;
void rectclip(vertex** ring, rect r, bool* failed = nullptr) noexcept;

/// Maps two opposite corners in place; they are not put in order again.
void map_rect(rect* r, const affine& m) noexcept;
/// Intersects `s` into `r`: -1 where something is left (edges that touch count), else 0.
int rect_intrsect(rect* r, rect s) noexcept;
/// The first pixel, and the distance to the last one: a rectangle one pixel wide has the size 0, as intended.
void pixel_rect(rect r, long* x, long* y, unsigned* xsize, unsigned* ysize) noexcept;

/// Consumes the ring. Null for an empty ring and for one without height.
trap* getTrapList(vertex* ring, bool* failed = nullptr) noexcept;
void destroyTrapList(trap* list) noexcept;
/// Leaves the trapezoids to the caller.
scan* getScanList(const trap* list, bool* failed = nullptr) noexcept;
void destroyScanList(scan* list) noexcept;

} // namespace geom
