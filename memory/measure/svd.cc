#include "memory/measure/svd.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

namespace {

constexpr float infx = std::numeric_limits<float>::infinity();
constexpr int maxIterations = 30;

/// The length of (a, b), formed without overflow.
float hypotenuse(float a, float b) noexcept {
    const float at = std::fabs(a);
    const float bt = std::fabs(b);
    const float larger = std::max(at, bt);
    if (larger == 0.0F) return 0.0F;
    const float ct = std::min(at, bt) / larger;
    return static_cast<float>(larger * std::sqrt(1.0 + static_cast<double>(ct) * ct));
}

/// The magnitude of a with the sign of b.
float withSign(float a, float b) noexcept { return b >= 0.0F ? std::fabs(a) : -std::fabs(a); }

/// Whether a value makes no difference to the matrix's magnitude.
bool negligible(float value, float magnitude) noexcept { return std::fabs(value) + magnitude == magnitude; }

/// Turns two entries by the rotation (c, s).
void rotate(float& x, float& z, float c, float s) noexcept {
    const float x0 = x;
    const float z0 = z;
    x = x0 * c + z0 * s;
    z = z0 * c - x0 * s;
}

/// A vector of entries that lie `step` apart.
struct Strided {
    float* first;
    int step;
    float& operator[](int i) const noexcept { return first[i * step]; }
};

float dot(Strided a, Strided b, int from, int end) noexcept {
    float sum = 0.0F;
    for (int i = from; i < end; ++i) sum += a[i] * b[i];
    return sum;
}

void addMultiple(Strided to, float factor, Strided from, int first, int end) noexcept {
    for (int i = first; i < end; ++i) to[i] += factor * from[i];
}

/// The decomposition under way: a becomes U, the bidiagonal form has `w` on its diagonal and `upper` above it.
class Decomposition {
public:
    Decomposition(int m, int n, float* a, float* w, float* v) noexcept : m_(m), n_(n), a_(a), w_(w), v_(v) {}

    void run() noexcept {
        reduce();
        accumulateRight();
        accumulateLeft();
        for (int k = n_ - 1; k >= 0; --k) diagonalise(k);
    }

private:
    Strided column(int j) const noexcept { return {a_ + j, n_}; }
    Strided row(int i) const noexcept { return {a_ + i * n_, 1}; }
    Strided columnOfV(int j) const noexcept { return {v_ + j, n_}; }

    /// Prepares the reflection that leaves one entry of those from `pivot` on, and answers that entry; `divisor` is
    /// what the reflection divides by. The vector is scaled for the time being.
    struct Reflection {
        float scale = 0.0F;
        float value = 0.0F;
        float divisor = 0.0F;
    };

    static Reflection reflect(Strided vector, int pivot, int end) noexcept {
        Reflection r;
        for (int i = pivot; i < end; ++i) r.scale += std::fabs(vector[i]);
        if (r.scale == 0.0F) return r;
        float squares = 0.0F;
        for (int i = pivot; i < end; ++i) {
            vector[i] /= r.scale;
            squares += vector[i] * vector[i];
        }
        const float f = vector[pivot];
        r.value = -withSign(std::sqrt(squares), f);
        r.divisor = f * r.value - squares;
        vector[pivot] = f - r.value;
        return r;
    }

    /// Householder reduction to a bidiagonal form.
    void reduce() noexcept {
        float above = 0.0F;
        for (int i = 0; i < n_; ++i) {
            upper_[i] = above;
            w_[i] = i < m_ ? reduceColumn(i) : 0.0F;
            above = i < m_ && i != n_ - 1 ? reduceRow(i) : 0.0F;
            magnitude_ = std::max(magnitude_, std::fabs(w_[i]) + std::fabs(upper_[i]));
        }
    }

    float reduceColumn(int i) noexcept {
        const Reflection r = reflect(column(i), i, m_);
        if (r.scale == 0.0F) return 0.0F;
        for (int j = i + 1; j < n_; ++j) {
            addMultiple(column(j), dot(column(i), column(j), i, m_) / r.divisor, column(i), i, m_);
        }
        for (int k = i; k < m_; ++k) column(i)[k] *= r.scale;
        return r.scale * r.value;
    }

    float reduceRow(int i) noexcept {
        const Reflection r = reflect(row(i), i + 1, n_);
        if (r.scale == 0.0F) return 0.0F;
        float divided[svdLimit];
        for (int k = i + 1; k < n_; ++k) divided[k] = row(i)[k] / r.divisor;
        for (int j = i + 1; j < m_; ++j) {
            addMultiple(row(j), dot(row(j), row(i), i + 1, n_), {divided, 1}, i + 1, n_);
        }
        for (int k = i + 1; k < n_; ++k) row(i)[k] *= r.scale;
        return r.scale * r.value;
    }

    /// V from the reflections of the rows.
    void accumulateRight() noexcept {
        for (int i = n_ - 1; i >= 0; --i) {
            const int next = i + 1;
            const float above = next < n_ ? upper_[next] : 0.0F;
            if (above != 0.0F) {
                // Divided twice, so that no product can underflow.
                for (int j = next; j < n_; ++j) columnOfV(i)[j] = (row(i)[j] / row(i)[next]) / above;
                for (int j = next; j < n_; ++j) {
                    addMultiple(columnOfV(j), dot(row(i), columnOfV(j), next, n_), columnOfV(i), next, n_);
                }
            }
            for (int j = next; j < n_; ++j) columnOfV(i)[j] = columnOfV(j)[i] = 0.0F;
            v_[i * n_ + i] = 1.0F;
        }
    }

    /// U from the reflections of the columns, in their place. Columns beyond the rows have none.
    void accumulateLeft() noexcept {
        for (int i = std::min(m_, n_) - 1; i >= 0; --i) {
            for (int j = i + 1; j < n_; ++j) row(i)[j] = 0.0F;
            if (w_[i] == 0.0F) {
                for (int k = i; k < m_; ++k) column(i)[k] = 0.0F;
            } else {
                const float inverse = 1.0F / w_[i];
                for (int j = i + 1; j < n_; ++j) {
                    const float sum = dot(column(i), column(j), i + 1, m_);
                    addMultiple(column(j), (sum / column(i)[i]) * inverse, column(i), i, m_);
                }
                for (int k = i; k < m_; ++k) column(i)[k] *= inverse;
            }
            column(i)[i] += 1.0F;
        }
    }

    /// Implicit QR steps until the entry above singular value k is negligible.
    void diagonalise(int k) noexcept {
        for (int iteration = 0; iteration < maxIterations; ++iteration) {
            const int first = split(k);
            if (first == k) return settle(k);
            if (iteration == maxIterations - 1) std::printf(" no convergence when k=%d\n", k);
            step(first, k);
        }
    }

    /// The first row of the unreduced block that ends in row k.
    int split(int k) noexcept {
        for (int l = k; l > 0; --l) {
            if (negligible(upper_[l], magnitude_)) return l;
            if (negligible(w_[l - 1], magnitude_)) {
                cancel(l, k);
                return l;
            }
        }
        return 0; // nothing lies above the first value
    }

    /// Clears the entry above value l, whose left neighbour is negligible, by rotations of U.
    void cancel(int l, int k) noexcept {
        float c = 0.0F;
        float s = 1.0F;
        for (int i = l; i <= k; ++i) {
            const float f = s * upper_[i];
            upper_[i] = c * upper_[i];
            if (negligible(f, magnitude_)) return;
            const float g = w_[i];
            w_[i] = hypotenuse(f, g);
            const float inverse = 1.0F / w_[i];
            c = g * inverse;
            s = -f * inverse;
            for (int j = 0; j < m_; ++j) rotate(row(j)[l - 1], row(j)[i], c, s);
        }
    }

    /// Singular values are not negative.
    void settle(int k) noexcept {
        if (!(w_[k] < 0.0F)) return;
        w_[k] = -w_[k];
        for (int j = 0; j < n_; ++j) columnOfV(k)[j] = -columnOfV(k)[j];
    }

    /// The shift from the block's last 2 by 2 minor.
    float shifted(int l, int k) const noexcept {
        const float x = w_[l];
        const float y = w_[k - 1];
        const float z = w_[k];
        const float g = upper_[k - 1];
        const float h = upper_[k];
        const float f = ((y - z) * (y + z) + (g - h) * (g + h)) / (2.0F * h * y);
        return ((x - z) * (x + z) + h * ((y / (f + withSign(hypotenuse(f, 1.0F), f))) - h)) / x;
    }

    /// One QR step on rows l to k.
    void step(int l, int k) noexcept {
        float f = shifted(l, k);
        float x = w_[l];
        float c = 1.0F;
        float s = 1.0F;
        for (int j = l; j < k; ++j) {
            const int i = j + 1;
            float g = upper_[i];
            float y = w_[i];
            float h = s * g;
            g = c * g;
            float z = hypotenuse(f, h);
            upper_[j] = z;
            c = f / z;
            s = h / z;
            f = x * c + g * s;
            g = g * c - x * s;
            h = y * s;
            y *= c;
            for (int r = 0; r < n_; ++r) rotate(columnOfV(j)[r], columnOfV(i)[r], c, s);
            z = hypotenuse(f, h);
            w_[j] = z;
            if (z != 0.0F) {
                z = 1.0F / z;
                c = f * z;
                s = h * z;
            }
            f = c * g + s * y;
            x = c * y - s * g;
            for (int r = 0; r < m_; ++r) rotate(row(r)[j], row(r)[i], c, s);
        }
        upper_[l] = 0.0F;
        upper_[k] = f;
        w_[k] = x;
    }

    int m_;
    int n_;
    float* a_;
    float* w_;
    float* v_;
    float upper_[svdLimit] = {};
    float magnitude_ = 0.0F;
};

/// A matrix decomposed in a copy.
struct Decomposed {
    Decomposed(int m, int n, const float* a) noexcept {
        std::copy_n(a, m * n, u);
        svdcmp(m, n, u, w, v);
    }

    float u[svdLimit * svdLimit];
    float w[svdLimit];
    float v[svdLimit * svdLimit];
};

} // namespace

void svdcmp(int m, int n, float* a, float* w, float* v) noexcept { Decomposition(m, n, a, w, v).run(); }

void svedit(int n, float* w) noexcept {
    float largest = 0.0F;
    for (int j = 0; j < n; ++j) largest = std::max(largest, w[j]);
    for (int j = 0; j < n; ++j) {
        if (static_cast<double>(w[j]) / largest < 1e-5) w[j] = 0.0F;
    }
}

void svbksb(int m, int n, float* u, float* w, float* v, float* b, float* x) noexcept {
    float scaled[svdLimit];
    for (int j = 0; j < n; ++j) {
        scaled[j] = 0.0F;
        if (w[j] == 0.0F) continue;
        for (int i = 0; i < m; ++i) scaled[j] += u[i * n + j] * b[i];
        scaled[j] /= w[j];
    }
    for (int i = 0; i < n; ++i) {
        x[i] = 0.0F;
        for (int j = 0; j < n; ++j) x[i] += v[i * n + j] * scaled[j];
    }
}

void svsolve(int m, int n, float* a, float* b, float* x) noexcept {
    Decomposed d(m, n, a);
    svedit(n, d.w);
    svbksb(m, n, d.u, d.w, d.v, b, x);
}

void svinvrt(int m, int n, float* a, float* out) noexcept {
    Decomposed d(m, n, a);
    svedit(n, d.w);
    for (int j = 0; j < n; ++j) {
        const float scale = d.w[j] == 0.0F ? 0.0F : 1.0F / d.w[j];
        for (int i = 0; i < m; ++i) d.u[i * n + j] *= scale;
    }
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < m; ++j) {
            float sum = 0.0F;
            for (int k = 0; k < n; ++k) {
                sum = static_cast<float>(static_cast<double>(d.v[i * n + k]) * d.u[j * n + k] + sum);
            }
            out[i * m + j] = sum;
        }
    }
}

void svcond(int m, int n, float* a, float* out) noexcept {
    const Decomposed d(m, n, a);
    const auto [smallest, largest] = std::minmax_element(d.w, d.w + n);
    *out = *smallest == 0.0F ? infx : *largest / *smallest;
}
