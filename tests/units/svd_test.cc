// The singular value solver: what it takes apart goes together again, whatever the shape and rank.
#include "memory/measure/svd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

namespace {

using Matrix = std::vector<float>; // row by row

class Svd : public testing::Test {
protected:
    Matrix random(int m, int n, float scale = 1.0F) {
        Matrix a(static_cast<std::size_t>(m * n));
        for (float& entry : a) entry = scale * std::uniform_real_distribution<float>(-1, 1)(engine);
        return a;
    }

    static Matrix product(const Matrix& a, const Matrix& b, int m, int inner, int n) {
        Matrix c(static_cast<std::size_t>(m * n));
        for (int i = 0; i < m; ++i) {
            for (int j = 0; j < n; ++j) {
                double sum = 0;
                for (int k = 0; k < inner; ++k) {
                    sum += double{a[static_cast<std::size_t>(i * inner + k)]} * b[static_cast<std::size_t>(k * n + j)];
                }
                c[static_cast<std::size_t>(i * n + j)] = static_cast<float>(sum);
            }
        }
        return c;
    }

    static double difference(const Matrix& a, const Matrix& b) {
        double largest = 0;
        for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::fabs(double{a[i]} - b[i]));
        return largest;
    }

    static double magnitude(const Matrix& a) {
        double largest = 0;
        for (const float entry : a) largest = std::max(largest, std::fabs(double{entry}));
        return largest;
    }

    /// U W V' is the matrix again, V is orthogonal, and so are the columns of U that have a singular value.
    static void expectDecomposition(const Matrix& a, int m, int n) {
        Matrix u = a;
        Matrix w(static_cast<std::size_t>(n));
        Matrix v(static_cast<std::size_t>(n * n));
        svdcmp(m, n, u.data(), w.data(), v.data());
        const double scale = std::max(magnitude(a), 1e-30);
        Matrix uw = u;
        for (std::size_t i = 0; i < uw.size(); ++i) uw[i] *= w[i % static_cast<std::size_t>(n)];
        Matrix transposed(v.size());
        const auto size = static_cast<std::size_t>(n);
        for (std::size_t i = 0; i < size; ++i) {
            ASSERT_GE(w[i], 0.0F);
            for (std::size_t j = 0; j < size; ++j) transposed[j * size + i] = v[i * size + j];
        }
        EXPECT_LT(difference(product(uw, transposed, m, n, n), a), 2e-5 * scale) << m << " by " << n;
        Matrix unit(v.size());
        for (std::size_t i = 0; i < size; ++i) unit[i * size + i] = 1;
        EXPECT_LT(difference(product(v, transposed, n, n, n), unit), 2e-5) << m << " by " << n;
        const double least = 1e-3 * *std::max_element(w.begin(), w.end());
        for (std::size_t j = 0; j < size; ++j) {
            for (std::size_t k = 0; k < size; ++k) {
                if (w[j] <= least || w[k] <= least) continue;
                double dot = 0;
                for (std::size_t i = 0; i < static_cast<std::size_t>(m); ++i)
                    dot += double{u[i * size + j]} * u[i * size + k];
                EXPECT_NEAR(dot, j == k ? 1.0 : 0.0, 2e-4) << m << " by " << n;
            }
        }
    }

    std::mt19937 engine{20260607};
};

TEST_F(Svd, RandomMatrices) {
    for (int time = 0; time < 300; ++time) {
        const int m = static_cast<int>(engine() % 25) + 1;
        const int n = static_cast<int>(engine() % 25) + 1;
        expectDecomposition(random(m, n, time % 3 == 0 ? 1000.0F : 1.0F), m, n);
    }
    expectDecomposition(random(25, 25), 25, 25);
    expectDecomposition(random(1, 25), 1, 25);
    expectDecomposition(random(25, 1), 25, 1);
}

TEST_F(Svd, RankDeficientMatrices) {
    for (int time = 0; time < 200; ++time) {
        const int m = static_cast<int>(engine() % 12) + 1;
        const int n = static_cast<int>(engine() % 12) + 1;
        const int rank = static_cast<int>(engine() % static_cast<unsigned>(std::min(m, n))) + 1;
        expectDecomposition(product(random(m, rank), random(rank, n), m, rank, n), m, n);
    }
}

TEST_F(Svd, ZeroMatrix) {
    Matrix a(12);
    Matrix out(12, 7.0F);
    expectDecomposition(a, 4, 3);
    svinvrt(4, 3, a.data(), out.data());
    EXPECT_EQ(out, Matrix(12));
    float condition = 0;
    svcond(4, 3, a.data(), &condition);
    EXPECT_EQ(condition, std::numeric_limits<float>::infinity());
}

TEST_F(Svd, DiagonalMatrix) {
    Matrix a{3, 0, 0, -5};
    Matrix w(2);
    Matrix v(4);
    svdcmp(2, 2, a.data(), w.data(), v.data());
    std::sort(w.begin(), w.end());
    EXPECT_FLOAT_EQ(w[0], 3);
    EXPECT_FLOAT_EQ(w[1], 5);
}

/// The four conditions that only the pseudo-inverse meets.
TEST_F(Svd, PseudoInverse) {
    for (int time = 0; time < 300; ++time) {
        const int m = static_cast<int>(engine() % 6) + 1;
        const int n = static_cast<int>(engine() % 6) + 1;
        const int rank = static_cast<int>(engine() % static_cast<unsigned>(std::min(m, n))) + 1;
        Matrix a = product(random(m, rank), random(rank, n), m, rank, n);
        Matrix x(a.size());
        svinvrt(m, n, a.data(), x.data());
        const double big = magnitude(x);
        if (big > 50) continue; // badly conditioned: the margins below do not hold
        const Matrix ax = product(a, x, m, n, m);
        const Matrix xa = product(x, a, n, m, n);
        EXPECT_LT(difference(product(ax, a, m, m, n), a), 2e-3);
        EXPECT_LT(difference(product(xa, x, n, n, m), x), 2e-3 * std::max(1.0, big * big));
        for (int i = 0; i < m; ++i) {
            for (int j = 0; j < m; ++j) {
                EXPECT_NEAR(ax[static_cast<std::size_t>(i * m + j)], ax[static_cast<std::size_t>(j * m + i)], 2e-3);
            }
        }
        for (int i = 0; i < n; ++i) {
            for (int j = 0; j < n; ++j) {
                EXPECT_NEAR(xa[static_cast<std::size_t>(i * n + j)], xa[static_cast<std::size_t>(j * n + i)], 2e-3);
            }
        }
    }
}

TEST_F(Svd, EditZeroesSmallValues) {
    Matrix w{2.0F, 0.0F, 1.9e-5F, 2.1e-5F, 1.0F};
    svedit(5, w.data());
    EXPECT_EQ(w, (Matrix{2.0F, 0.0F, 0.0F, 2.1e-5F, 1.0F}));
    Matrix zero(3);
    svedit(3, zero.data());
    EXPECT_EQ(zero, Matrix(3));
}

TEST_F(Svd, Solve) {
    Matrix a{2, 1, 1, 3};
    Matrix b{5, 10};
    Matrix x(2);
    svsolve(2, 2, a.data(), b.data(), x.data());
    EXPECT_NEAR(x[0], 1, 1e-5);
    EXPECT_NEAR(x[1], 3, 1e-5);
    EXPECT_EQ(a, (Matrix{2, 1, 1, 3}));
    // A line through points that lie beside it.
    Matrix line{0, 1, 1, 1, 2, 1, 3, 1};
    Matrix heights{1.1F, 2.9F, 5.1F, 6.9F};
    svsolve(4, 2, line.data(), heights.data(), x.data());
    EXPECT_NEAR(x[0], 1.96, 1e-4);
    EXPECT_NEAR(x[1], 1.06, 1e-4);
    // Of all solutions the shortest.
    Matrix wide{1, 1};
    Matrix two{2};
    svsolve(1, 2, wide.data(), two.data(), x.data());
    EXPECT_NEAR(x[0], 1, 1e-5);
    EXPECT_NEAR(x[1], 1, 1e-5);
}

TEST_F(Svd, Condition) {
    Matrix a{4, 0, 0, 0.5F};
    float condition = 0;
    svcond(2, 2, a.data(), &condition);
    EXPECT_FLOAT_EQ(condition, 8);
}

TEST_F(Svd, WhatDoesNotConvergeIsTold) {
    Matrix a{std::nanf(""), 1, 1, 2};
    Matrix w(2);
    Matrix v(4);
    testing::internal::CaptureStdout();
    svdcmp(2, 2, a.data(), w.data(), v.data());
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " no convergence when k=1\n");
}

} // namespace
