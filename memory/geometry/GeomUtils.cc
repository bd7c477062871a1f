#include "memory/geometry/GeomUtils.h"

#include <algorithm>
#include <climits>
#include <cmath>

#include "memory/frame/numbers.h"
#include "memory/frame/orvi_new.h"

namespace geom {

namespace {

template <class Record>
Record* newRecord(const Record& value) noexcept {
    Record* record = orvi::newArray<Record>(1);
    if (record != nullptr) *record = value;
    return record;
}

template <class Record>
void destroyList(Record* list) noexcept {
    while (list != nullptr) {
        Record* next = list->next;
        orvi_delete(list);
        list = next;
    }
}

void setFailed(bool* failed) noexcept {
    if (failed != nullptr) *failed = true;
}

/// Builds a list from its front to its end; what it holds is released unless taken.
template <class Record>
class Appender {
public:
    Appender() noexcept = default;
    Appender(const Appender&) = delete;
    Appender& operator=(const Appender&) = delete;
    ~Appender() { destroyList(head_); }

    /// The new last record, or null.
    Record* append(Record value) noexcept {
        value.next = nullptr;
        Record* record = newRecord(value);
        if (record == nullptr) return nullptr;
        (last_ == nullptr ? head_ : last_->next) = record;
        last_ = record;
        return record;
    }
    bool prepend(Record value) noexcept {
        value.next = head_;
        Record* record = newRecord(value);
        if (record == nullptr) return false;
        head_ = record;
        if (last_ == nullptr) last_ = record;
        return true;
    }
    Record* head() const noexcept { return head_; }
    Record* last() const noexcept { return last_; }
    void dropFirst() noexcept {
        Record* first = head_;
        head_ = first->next;
        orvi_delete(first);
    }
    Record* take() noexcept {
        Record* list = head_;
        head_ = last_ = nullptr;
        return list;
    }

private:
    Record* head_ = nullptr;
    Record* last_ = nullptr;
};

} // namespace

long geom_floor(float v) noexcept {
    const long n = orvi::toInt(v, INT_MIN + 1, INT_MAX);
    return v < 0 ? n - 1 : n;
}

affine rotate(float angle) noexcept {
    const float c = static_cast<float>(std::cos(static_cast<double>(angle)));
    const float s = static_cast<float>(std::sin(static_cast<double>(angle)));
    return {c, s, -s, c, 0, 0};
}

affine scale(float sx, float sy) noexcept { return {sx, 0, 0, sy, 0, 0}; }

affine translate(float tx, float ty) noexcept { return {1, 0, 0, 1, tx, ty}; }

affine transpose() noexcept { return {0, 1, 1, 0, 0, 0}; }

affine invert(const affine& m) noexcept {
    const float det = m.a * m.d - m.c * m.b;
    const float r = 1.0F / det;
    affine result(m.d * r, -m.b * r, -m.c * r, m.a * r, 0, 0);
    vertex shift{m.tx, m.ty, 0, nullptr};
    lmap(&shift, result);
    result.tx = -shift.x;
    result.ty = -shift.y;
    return result;
}

void lmap(vertex* v, const affine& m) noexcept {
    const float x = m.a * v->x + m.b * v->y;
    v->y = m.c * v->x + m.d * v->y;
    v->x = x;
}

void affmap(vertex* v, const affine& m) noexcept {
    lmap(v, m);
    v->x += m.tx;
    v->y += m.ty;
}

// Rings.

vertex* getRect(rect r, bool* failed) noexcept {
    Appender<vertex> corners;
    for (const vertex& corner : {vertex{r.x1, r.y1, 0, nullptr}, vertex{r.x2, r.y1, 0, nullptr},
                                 vertex{r.x2, r.y2, 0, nullptr}, vertex{r.x1, r.y2, 0, nullptr}}) {
        if (corners.append(corner) == nullptr) {
            setFailed(failed);
            return nullptr;
        }
    }
    corners.last()->next = corners.head();
    return corners.take();
}

vertex* copy_vlist(const vertex* ring, bool* failed) noexcept {
    if (ring == nullptr) return nullptr;
    Appender<vertex> copies;
    const vertex* v = ring;
    do {
        if (copies.append(*v) == nullptr) {
            setFailed(failed);
            return nullptr;
        }
        v = v->next;
    } while (v != ring);
    copies.last()->next = copies.head();
    return copies.take();
}

void destroy_vlist(vertex* ring) noexcept {
    if (ring == nullptr) return;
    vertex* second = ring->next;
    ring->next = nullptr;
    destroyList(second);
}

void map_vlist(vertex* ring, const affine& m) noexcept {
    if (ring == nullptr) return;
    vertex* v = ring;
    do {
        affmap(v, m);
        v = v->next;
    } while (v != ring);
}

namespace {

/// One of the four clippers: the coordinate it tests, and whether low or high values are outside.
struct Side {
    float vertex::*coord;
    float vertex::*other;
    bool lowOutside;

    bool outside(const vertex* v, float c) const noexcept { return lowOutside ? v->*coord < c : v->*coord > c; }
    bool inside(const vertex* v, float c) const noexcept { return lowOutside ? v->*coord > c : v->*coord < c; }

    /// A new vertex on the line, on the way `t` from one vertex to another, linked behind `before`; null without
    /// memory.
    vertex* cut(const vertex* from, const vertex* to, float t, float c, vertex* before) const noexcept {
        vertex* v = newRecord(vertex{0, 0, 0, nullptr});
        if (v == nullptr) return nullptr;
        v->*coord = c;
        v->*other = (to->*other - from->*other) * t + from->*other;
        v->next = before->next;
        before->next = v;
        return v;
    }

    float part(const vertex* from, const vertex* to, float c) const noexcept {
        return (c - from->*coord) / (to->*coord - from->*coord);
    }
};

constexpr Side top{&vertex::y, &vertex::x, true};
constexpr Side bottom{&vertex::y, &vertex::x, false};
constexpr Side left{&vertex::x, &vertex::y, true};
constexpr Side right{&vertex::x, &vertex::y, false};

/// The first vertex from `start` on, once around, for which `test` holds, or null.
template <class Test>
vertex* findVertex(vertex* start, Test test) noexcept {
    vertex* v = start;
    do {
        if (test(v)) return v;
        v = v->next;
    } while (v != start);
    return nullptr;
}

void clip(vertex** ring, const Side& side, float c, bool* failed) noexcept {
    if (*ring == nullptr) return;
    const auto outside = [&](const vertex* v) { return side.outside(v, c); };
    const auto inside = [&](const vertex* v) { return side.inside(v, c); };

    vertex* out = findVertex((*ring)->next, outside);
    if (out == nullptr) return;
    vertex* p = findVertex(out->next, inside);
    if (p == nullptr) {
        destroy_vlist(*ring);
        *ring = nullptr;
        return;
    }
    while (!outside(p->next)) p = p->next;
    vertex* const first = p->next;
    vertex* q = first;
    while (!inside(q->next)) q = q->next;
    vertex* const after = q->next;

    // Both cuts are linked before anything is released, so that the ring is whole on every path.
    vertex* last = p;
    const float t1 = side.part(p, first, c);
    if (t1 != 0) last = side.cut(p, first, t1, c, p);
    const float t2 = side.part(q, after, c);
    if (last != nullptr && t2 != 1) last = side.cut(q, after, t2, c, last);
    if (last == nullptr) {
        destroy_vlist(after);
        *ring = nullptr;
        return setFailed(failed);
    }
    last->next = after;
    q->next = nullptr;
    destroyList(first);
    *ring = last;
}

} // namespace

void tclip(vertex** ring, float y, bool* failed) noexcept { clip(ring, top, y, failed); }
void bclip(vertex** ring, float y, bool* failed) noexcept { clip(ring, bottom, y, failed); }
void lclip(vertex** ring, float x, bool* failed) noexcept { clip(ring, left, x, failed); }
void rclip(vertex** ring, float x, bool* failed) noexcept { clip(ring, right, x, failed); }

void rectclip(vertex** ring, rect r, bool* failed) noexcept {
    tclip(ring, r.y1, failed);
    bclip(ring, r.y2, failed);
    lclip(ring, r.x1, failed);
    rclip(ring, r.x2, failed);
}

// Rectangles.

void map_rect(rect* r, const affine& m) noexcept {
    vertex low{r->x1, r->y1, 0, nullptr};
    vertex high{r->x2, r->y2, 0, nullptr};
    affmap(&low, m);
    affmap(&high, m);
    *r = {low.x, low.y, high.x, high.y};
}

int rect_intrsect(rect* r, rect s) noexcept {
    r->x1 = std::max(r->x1, s.x1);
    r->x2 = std::min(r->x2, s.x2);
    if (r->x2 < r->x1) return 0;
    r->y1 = std::max(r->y1, s.y1);
    r->y2 = std::min(r->y2, s.y2);
    return r->y2 >= r->y1 ? -1 : 0;
}

void pixel_rect(rect r, long* x, long* y, unsigned* xsize, unsigned* ysize) noexcept {
    const auto range = [](float low, float high, long* first, unsigned* size) {
        *first = geom_floor(low + GEOM_LEFT_BIAS);
        *size = static_cast<unsigned>(std::max(0L, geom_floor(high + GEOM_RIGHT_BIAS) - *first));
    };
    range(r.x1, r.x2, x, xsize);
    range(r.y1, r.y2, y, ysize);
}

// From a polygon to trapezoids.

namespace {

/// Moves a coordinate that lies next to a pixel's centre onto it. Truncation leaves those below -0.5 alone.
void snap(float& v) noexcept {
    const float u = v + 0.5F;
    if (!(std::fabs(u) < static_cast<float>(INT_MAX))) return;
    const float n = static_cast<float>(static_cast<long>(u + 0.5F));
    if (std::fabs(u - n) < GEOM_SNAP) v = n - 0.5F;
}

void snapRing(vertex* ring) noexcept {
    vertex* v = ring;
    do {
        snap(v->x);
        snap(v->y);
        v = v->next;
    } while (v != ring);
}

void flattenRing(vertex* ring) noexcept {
    vertex* v = ring;
    do {
        vertex* w = v->next;
        v->slope = (w->y - v->y) / (w->x - v->x);
        // Written so that 0/0, two equal vertices, counts as flat.
        if (!(std::fabs(v->slope) >= GEOM_SNAP)) {
            w->y = v->y;
            v->slope = 0;
        }
        v = w;
    } while (v != ring);
}

/// The topmost vertex, of a flat top the last one in ring order; null where the ring has no height.
vertex* findTop(vertex* ring) noexcept {
    vertex* v = findVertex(ring, [](const vertex* w) { return w->next->y < w->y; });
    if (v == nullptr) return nullptr;
    while (v->next->y <= v->y) v = v->next;
    return v;
}

/// The two sides of a ring from its top down; false without memory.
bool splitRing(const vertex* start, Appender<vertex>& down, Appender<vertex>& up) noexcept {
    const vertex* v = start;
    if (down.append(*v) == nullptr) return false;
    while (v->next->y > v->y) {
        v = v->next;
        if (down.append(*v) == nullptr) return false;
    }
    while (v->next->y == v->y) v = v->next;
    if (!up.prepend(*v)) return false;
    while (v->next->y < v->y) {
        v = v->next;
        if (!up.prepend(*v)) return false;
    }
    return true;
}

/// Where two sides leave one top corner, the x of their next corners decides, however far down these lie: a polygon
/// whose two sides both lean one way can come out with its sides exchanged and cover nothing, as intended.
bool firstIsLeft(const vertex* a, const vertex* b) noexcept {
    if (a->x != b->x) return a->x < b->x;
    if (a->next == nullptr || b->next == nullptr) return false;
    return a->next->x < b->next->x;
}

/// Moves the first vertex of a chain down its edge by the part `f`, to the level `y`.
void slide(vertex* v, float f, float y) noexcept {
    v->y = y;
    v->x = v->x + (v->next->x - v->x) * f;
}

/// Takes one trapezoid off the tops of the two chains.
void takeTrapezoid(trap* t, Appender<vertex>& leftChain, Appender<vertex>& rightChain) noexcept {
    vertex* l = leftChain.head();
    vertex* r = rightChain.head();
    vertex* ln = l->next;
    vertex* rn = r->next;
    *t = {l->y, 0, l->x, r->x, 0, 0, nullptr};
    if (std::fabs(ln->y - rn->y) < GEOM_SNAP) {
        ln->y = rn->y;
        leftChain.dropFirst();
        rightChain.dropFirst();
    } else if (rn->y > ln->y) {
        const float f = (ln->y - l->y) / (rn->y - r->y);
        leftChain.dropFirst();
        slide(r, f, ln->y);
    } else {
        const float f = (rn->y - r->y) / (ln->y - l->y);
        rightChain.dropFirst();
        slide(l, f, rn->y);
    }
    t->y2 = leftChain.head()->y;
    t->xl2 = leftChain.head()->x;
    t->xr2 = rightChain.head()->x;
}

bool fillTrapList(Appender<trap>& list, Appender<vertex>& leftChain, Appender<vertex>& rightChain) noexcept {
    if (list.append(trap{}) == nullptr) return false;
    // Rounding can leave one chain shorter than the other: the list ends with the shorter.
    while (leftChain.head()->next != nullptr && rightChain.head()->next != nullptr) {
        trap* t = list.append(trap{});
        if (t == nullptr) return false;
        takeTrapezoid(t, leftChain, rightChain);
    }
    return true;
}

} // namespace

trap* getTrapList(vertex* ring, bool* failed) noexcept {
    if (ring == nullptr) return nullptr;
    snapRing(ring);
    flattenRing(ring);
    const vertex* start = findTop(ring);
    if (start == nullptr) {
        destroy_vlist(ring);
        return nullptr;
    }
    Appender<vertex> a;
    Appender<vertex> b;
    const bool split = splitRing(start, a, b);
    destroy_vlist(ring);
    Appender<trap> list;
    if (split) {
        const bool aIsLeft = firstIsLeft(a.head(), b.head());
        if (fillTrapList(list, aIsLeft ? a : b, aIsLeft ? b : a)) return list.take();
    }
    setFailed(failed);
    return nullptr;
}

void destroyTrapList(trap* list) noexcept { destroyList(list); }

// From trapezoids to runs.

namespace {

bool appendRuns(Appender<scan>& list, const trap& t) noexcept {
    const float dy = t.y2 - t.y1;
    const float sl = (t.xl2 - t.xl1) / dy;
    const float sr = (t.xr2 - t.xr1) / dy;
    float ys = static_cast<float>(geom_floor(t.y1)) + 0.5F;
    if (ys < t.y1) ys += 1.0F;
    const float d = ys - t.y1;
    float xl = t.xl1 + sl * d + GEOM_LEFT_BIAS;
    float xr = t.xr1 + sr * d + GEOM_RIGHT_BIAS;
    while (t.y2 > ys) {
        const long i1 = geom_floor(xl);
        const long i2 = geom_floor(xr);
        if (i1 <= i2 && list.append({geom_floor(ys), i1, i2, nullptr}) == nullptr) return false;
        const float below = ys + 1.0F;
        if (below == ys) return true; // so far out that single precision knows no next row
        ys = below;
        xl += sl;
        xr += sr;
    }
    return true;
}

} // namespace

scan* getScanList(const trap* list, bool* failed) noexcept {
    if (list == nullptr) return nullptr;
    Appender<scan> runs;
    bool made = runs.append(scan{}) != nullptr;
    for (const trap* t = list->next; made && t != nullptr; t = t->next) made = appendRuns(runs, *t);
    if (made) return runs.take();
    setFailed(failed);
    return nullptr;
}

void destroyScanList(scan* list) noexcept { destroyList(list); }

} // namespace geom
