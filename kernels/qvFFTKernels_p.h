#pragma once

// The radix-2 complex transform and the split of the real transform, generic over the
// vector width: included by the per-path files, whose entry points instantiate them.
// Everything here has internal linkage; the vector code is inlined into the entry points.
//
// Twiddle layout: the stage of half-span m (1 <= m <= n/2) keeps its m twiddles
// contiguously at [2m, 4m), taken from the engine's tables at stride n/m, in chunks of 8
// cos values followed by their 8 sin values (one chunk of m each below 8): cos and sin of
// a vector of butterflies are neighbours, and the twiddle loads advance twice as fast
// through memory as the data, so they rarely meet recent stores to the same address modulo
// 4 KiB, which the processor would take for a dependency. The row twiddles hold the few
// twiddles of the first stages of the vector paths as broadcast vectors.
//
// Sizes below one W x W block run the plain algorithm (W = 4 lanes on the portable path,
// 8 with AVX2, which leaves 16 and 32 points to the portable code). The vector paths
// reorder the same radix-2 butterflies, with the same twiddles:
// - one pass does the bit reversal together with the first log2(W) stages: the indices
//   split into log2(W) top bits, the middle bits and log2(W) bottom bits, and the W x W
//   block of one middle value moves, transposed, to the block of the reversed middle
//   value; before the transpose its rows are the lanes of the destination, so those
//   stages are butterflies between whole rows;
// - the remaining stages run two per pass over memory (groups of four points, the radix-2
//   butterflies of both stages) after a single one when their number is odd; passes whose
//   groups fit in a cache block run block by block; the forward 1/N factor (a power of
//   two, so exact) is applied in the last pass.
// Where the processor has FMA (the AVX2 path) the compiler may fuse a twiddle product into
// its sum, which only changes the rounding within the single-precision bounds.

#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#if defined(__GNUC__) && !defined(__clang__)
// The 32-byte vectors are only passed between inlined functions; the note on their calling
// convention without AVX does not apply.
#pragma GCC diagnostic ignored "-Wpsabi"
#endif

#define QV_FFT_INLINE [[gnu::always_inline]] inline

namespace QVKernels {
namespace {
namespace Fft {

// The stage of half-span m keeps its twiddles from float 2m on, in chunks of up to 8 cos
// values followed by the same number of sin values; Chunk(m) is the distance from a cos to
// its sin.
constexpr std::size_t Chunk(std::size_t m)
{
    return m < 8 ? m : 8;
}

constexpr std::size_t TwiddleAt(std::size_t m, std::size_t j)
{
    return 2 * m + 2 * (j & ~std::size_t(7)) + (j & 7);
}

// The plain algorithm: reversed-carry bit reversal, then one stage per pass.
template <bool Inverse>
inline void TransformScalar(const float *tw, int n, float *re, float *im)
{
    int r = 0;
    for (int i = 1; i < n; ++i) {
        int m = n / 2;
        while (m + r > n - 1)
            m /= 2;
        r = m + (r & (m - 1));
        if (r > i) {
            std::swap(re[i], re[r]);
            std::swap(im[i], im[r]);
        }
    }
    for (int m = 1; m < n; m *= 2) {
        for (int j = 0; j < m; ++j) {
            const float wr = tw[TwiddleAt(std::size_t(m), std::size_t(j))];
            const float wi = tw[TwiddleAt(std::size_t(m), std::size_t(j)) + Chunk(std::size_t(m))];
            for (int k = j; k < n; k += 2 * m) {
                const int p = k + m;
                // The inverse uses the conjugate twiddle (wi negated).
                const float tr = Inverse ? wr * re[p] + wi * im[p] : wr * re[p] - wi * im[p];
                const float ti = Inverse ? wr * im[p] - wi * re[p] : wr * im[p] + wi * re[p];
                re[p] = re[k] - tr;
                im[p] = im[k] - ti;
                re[k] = re[k] + tr;
                im[k] = im[k] + ti;
            }
        }
    }
    if (!Inverse) {
        const float scale = float(1.0 / n);
        for (int k = 0; k < n; ++k) {
            re[k] *= scale;
            im[k] *= scale;
        }
    }
}

inline int Log2(unsigned n)
{
    int l = 0;
    while ((1u << l) < n)
        ++l;
    return l;
}

typedef float V4 __attribute__((vector_size(16)));
typedef float V8 __attribute__((vector_size(32)));

template <typename V>
constexpr int Lanes = int(sizeof(V) / sizeof(float));

template <typename V>
QV_FFT_INLINE V Load(const float *p)
{
    V v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

template <typename V>
QV_FFT_INLINE void Store(float *p, const V &v)
{
    std::memcpy(p, &v, sizeof v);
}

// All lanes x (x >= 0 here: the forward scale).
template <typename V>
QV_FFT_INLINE V Splat(float x)
{
    V v = {};
    return v + x;
}

// Bit reversal of the lane or row index t within a W x W block.
template <typename V>
constexpr int RevLane(int t)
{
    return Lanes<V> == 8 ? ((t & 1) << 2) | (t & 2) | (t >> 2) : ((t & 1) << 1) | (t >> 1);
}

// t = w x, with the conjugate of w for the inverse.
template <bool Inverse, typename V>
QV_FFT_INLINE void Twiddle(const V &wr, const V &wi, const V &xr, const V &xi, V &tr, V &ti)
{
    if constexpr (Inverse) {
        tr = wr * xr + wi * xi;
        ti = wr * xi - wi * xr;
    } else {
        tr = wr * xr - wi * xi;
        ti = wr * xi + wi * xr;
    }
}

QV_FFT_INLINE void Transpose(V4 *r)
{
    const V4 t0 = __builtin_shufflevector(r[0], r[1], 0, 4, 1, 5);
    const V4 t1 = __builtin_shufflevector(r[0], r[1], 2, 6, 3, 7);
    const V4 t2 = __builtin_shufflevector(r[2], r[3], 0, 4, 1, 5);
    const V4 t3 = __builtin_shufflevector(r[2], r[3], 2, 6, 3, 7);
    r[0] = __builtin_shufflevector(t0, t2, 0, 1, 4, 5);
    r[1] = __builtin_shufflevector(t0, t2, 2, 3, 6, 7);
    r[2] = __builtin_shufflevector(t1, t3, 0, 1, 4, 5);
    r[3] = __builtin_shufflevector(t1, t3, 2, 3, 6, 7);
}

QV_FFT_INLINE void Transpose(V8 *r)
{
    V8 t[8], s[8];
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        t[2 * k] = __builtin_shufflevector(r[2 * k], r[2 * k + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        t[2 * k + 1] = __builtin_shufflevector(r[2 * k], r[2 * k + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
#pragma GCC unroll 2
    for (int k = 0; k < 2; ++k) {
        const V8 *u = t + 4 * k;
        s[4 * k + 0] = __builtin_shufflevector(u[0], u[2], 0, 1, 8, 9, 4, 5, 12, 13);
        s[4 * k + 1] = __builtin_shufflevector(u[0], u[2], 2, 3, 10, 11, 6, 7, 14, 15);
        s[4 * k + 2] = __builtin_shufflevector(u[1], u[3], 0, 1, 8, 9, 4, 5, 12, 13);
        s[4 * k + 3] = __builtin_shufflevector(u[1], u[3], 2, 3, 10, 11, 6, 7, 14, 15);
    }
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
        r[k] = __builtin_shufflevector(s[k], s[k + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        r[k + 4] = __builtin_shufflevector(s[k], s[k + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

// The first log2(W) stages on one W x W block before its transpose: row l of the block
// becomes lane l of every destination row, so the butterfly between lanes l and l + h is
// one between whole rows. K selects the broadcast twiddle (see Prepare); K < 0 is twiddle 0
// of its stage, cos 0 + i sin 0 = 1 + 0i, whose product is exact and skipped.
template <int L, int U, int K, bool Inverse, typename V>
QV_FFT_INLINE void RowButterfly(V *re, V *im, const float *rowTw)
{
    V tr = re[U], ti = im[U];
    if constexpr (K >= 0)
        Twiddle<Inverse>(Load<V>(rowTw + 16 * K), Load<V>(rowTw + 16 * K + 8), re[U], im[U], tr, ti);
    re[U] = re[L] - tr;
    im[U] = im[L] - ti;
    re[L] = re[L] + tr;
    im[L] = im[L] + ti;
}

template <bool Inverse, typename V>
QV_FFT_INLINE void RowStages(V *re, V *im, const float *rowTw)
{
    // Half-span 1.
    RowButterfly<0, 1, -1, Inverse>(re, im, rowTw);
    RowButterfly<2, 3, -1, Inverse>(re, im, rowTw);
    if constexpr (Lanes<V> == 4) {
        // Half-span 2.
        RowButterfly<0, 2, -1, Inverse>(re, im, rowTw);
        RowButterfly<1, 3, 0, Inverse>(re, im, rowTw);
    } else {
        RowButterfly<4, 5, -1, Inverse>(re, im, rowTw);
        RowButterfly<6, 7, -1, Inverse>(re, im, rowTw);
        // Half-span 2.
        RowButterfly<0, 2, -1, Inverse>(re, im, rowTw);
        RowButterfly<1, 3, 0, Inverse>(re, im, rowTw);
        RowButterfly<4, 6, -1, Inverse>(re, im, rowTw);
        RowButterfly<5, 7, 0, Inverse>(re, im, rowTw);
        // Half-span 4.
        RowButterfly<0, 4, -1, Inverse>(re, im, rowTw);
        RowButterfly<1, 5, 1, Inverse>(re, im, rowTw);
        RowButterfly<2, 6, 2, Inverse>(re, im, rowTw);
        RowButterfly<3, 7, 3, Inverse>(re, im, rowTw);
    }
}

// Bit reversal and the first log2(W) stages. The indices split into log2(W) top bits t,
// the middle bits m and log2(W) bottom bits b; x[t, m, b] belongs at [rev b, rev m, rev t].
// The block of m (rows t at stride n/W) therefore moves to the block of rev(m): loaded with
// row t in place rev(t) and transposed, its row u is the destination row rev(u).
template <bool Inverse, typename V>
QV_FFT_INLINE void LoadBlock(const float *re, const float *im, int rowStride, const float *rowTw, V *outRe,
                         V *outIm)
{
    constexpr int W = Lanes<V>;
#pragma GCC unroll 8
    for (int t = 0; t < W; ++t) {
        outRe[RevLane<V>(t)] = Load<V>(re + std::ptrdiff_t(t) * rowStride);
        outIm[RevLane<V>(t)] = Load<V>(im + std::ptrdiff_t(t) * rowStride);
    }
    RowStages<Inverse>(outRe, outIm, rowTw);
    Transpose(outRe);
    Transpose(outIm);
}

template <typename V>
QV_FFT_INLINE void StoreBlock(float *re, float *im, int rowStride, const V *rowsRe, const V *rowsIm)
{
    constexpr int W = Lanes<V>;
#pragma GCC unroll 8
    for (int u = 0; u < W; ++u) {
        Store(re + std::ptrdiff_t(RevLane<V>(u)) * rowStride, rowsRe[u]);
        Store(im + std::ptrdiff_t(RevLane<V>(u)) * rowStride, rowsIm[u]);
    }
}

template <bool Inverse, typename V>
QV_FFT_INLINE void FirstPass(const float *rowTw, int n, int log2n, float *re, float *im)
{
    constexpr int W = Lanes<V>;
    constexpr int w = W == 8 ? 3 : 2;
    const int rowStride = n / W;
    const unsigned middles = 1u << (log2n - 2 * w);

    V aRe[W], aIm[W], bRe[W], bIm[W];
    unsigned r = 0; // rev(m), advanced by the reversed-carry rule
    for (unsigned m = 0; m < middles; ++m) {
        if (m > 0) {
            unsigned bit = middles >> 1;
            while (r & bit) {
                r ^= bit;
                bit >>= 1;
            }
            r |= bit;
        }
        if (r < m)
            continue;
        const std::ptrdiff_t offA = std::ptrdiff_t(m) * W;
        const std::ptrdiff_t offB = std::ptrdiff_t(r) * W;
        LoadBlock<Inverse>(re + offA, im + offA, rowStride, rowTw, aRe, aIm);
        if (r != m) {
            LoadBlock<Inverse>(re + offB, im + offB, rowStride, rowTw, bRe, bIm);
            StoreBlock(re + offA, im + offA, rowStride, bRe, bIm);
        }
        StoreBlock(re + offB, im + offB, rowStride, aRe, aIm);
    }
}

// One stage of half-span m >= W.
template <bool Inverse, bool Scale, typename V>
QV_FFT_INLINE void Radix2Pass(const float *tw, int n, int m, float scale, float *re, float *im)
{
    constexpr int W = Lanes<V>;
    const std::size_t chunk = Chunk(std::size_t(m));
    const V s = Splat<V>(scale);
    for (int base = 0; base < n; base += 2 * m) {
        float *r0 = re + base, *i0 = im + base, *r1 = r0 + m, *i1 = i0 + m;
        for (int j = 0; j < m; j += W) {
            const V ar = Load<V>(r0 + j), ai = Load<V>(i0 + j);
            V tr, ti;
            const float *w = tw + TwiddleAt(std::size_t(m), std::size_t(j));
            Twiddle<Inverse>(Load<V>(w), Load<V>(w + chunk), Load<V>(r1 + j), Load<V>(i1 + j), tr, ti);
            V xr = ar + tr, xi = ai + ti, yr = ar - tr, yi = ai - ti;
            if constexpr (Scale) {
                xr *= s;
                xi *= s;
                yr *= s;
                yi *= s;
            }
            Store(r0 + j, xr);
            Store(i0 + j, xi);
            Store(r1 + j, yr);
            Store(i1 + j, yi);
        }
    }
}

// The stages of half-span m and 2m (m >= W) in one pass: points a, b, c, d at j, j + m,
// j + 2m, j + 3m of each block of 4m; (a, b) and (c, d) pair in the first stage with twiddle
// j, then (a, c) with twiddle j and (b, d) with twiddle j + m of the second.
template <bool Inverse, bool Scale, typename V>
QV_FFT_INLINE void Radix22Pass(const float *tw, int n, int m, float scale, float *re, float *im)
{
    constexpr int W = Lanes<V>;
    const std::size_t chunk1 = Chunk(std::size_t(m)), chunk2 = Chunk(2 * std::size_t(m));
    const V s = Splat<V>(scale);
    for (int base = 0; base < n; base += 4 * m) {
        float *ra = re + base, *ia = im + base;
        float *rb = ra + m, *ib = ia + m, *rc = rb + m, *ic = ib + m, *rd = rc + m, *id = ic + m;
        for (int j = 0; j < m; j += W) {
            const float *w1 = tw + TwiddleAt(std::size_t(m), std::size_t(j));
            const float *w2 = tw + TwiddleAt(2 * std::size_t(m), std::size_t(j));
            const float *w3 = tw + TwiddleAt(2 * std::size_t(m), std::size_t(j + m));
            const V w1rj = Load<V>(w1), w1ij = Load<V>(w1 + chunk1);
            V tr, ti;
            const V ar = Load<V>(ra + j), ai = Load<V>(ia + j);
            Twiddle<Inverse>(w1rj, w1ij, Load<V>(rb + j), Load<V>(ib + j), tr, ti);
            const V br = ar - tr, bi = ai - ti, a1r = ar + tr, a1i = ai + ti;
            const V cr = Load<V>(rc + j), ci = Load<V>(ic + j);
            Twiddle<Inverse>(w1rj, w1ij, Load<V>(rd + j), Load<V>(id + j), tr, ti);
            const V dr = cr - tr, di = ci - ti, c1r = cr + tr, c1i = ci + ti;

            Twiddle<Inverse>(Load<V>(w2), Load<V>(w2 + chunk2), c1r, c1i, tr, ti);
            V outAr = a1r + tr, outAi = a1i + ti, outCr = a1r - tr, outCi = a1i - ti;
            Twiddle<Inverse>(Load<V>(w3), Load<V>(w3 + chunk2), dr, di, tr, ti);
            V outBr = br + tr, outBi = bi + ti, outDr = br - tr, outDi = bi - ti;
            if constexpr (Scale) {
                outAr *= s;
                outAi *= s;
                outBr *= s;
                outBi *= s;
                outCr *= s;
                outCi *= s;
                outDr *= s;
                outDi *= s;
            }
            Store(ra + j, outAr);
            Store(ia + j, outAi);
            Store(rb + j, outBr);
            Store(ib + j, outBi);
            Store(rc + j, outCr);
            Store(ic + j, outCi);
            Store(rd + j, outDr);
            Store(id + j, outDi);
        }
    }
}

// One pass at half-span m over `size` points (one stage, or two when `twoStages`); the
// forward scale goes with the pass that completes the transform of all n points.
template <bool Inverse, bool Scale, typename V>
QV_FFT_INLINE void Pass(const float *tw, int n, int m, bool twoStages, int size, float *re, float *im)
{
    const float scale = float(1.0 / n);
    const bool last = Scale && (twoStages ? 4 * m : 2 * m) == n;
    if (twoStages) {
        if (last)
            Radix22Pass<Inverse, true, V>(tw, size, m, scale, re, im);
        else
            Radix22Pass<Inverse, false, V>(tw, size, m, scale, re, im);
    } else {
        if (last)
            Radix2Pass<Inverse, true, V>(tw, size, m, scale, re, im);
        else
            Radix2Pass<Inverse, false, V>(tw, size, m, scale, re, im);
    }
}

// Stages of half-span W and up: a single stage first when their number is odd, then two
// per pass. The passes whose butterfly groups fit in CacheBlock points run block by block
// while the block stays in the first-level cache; the others run over all points.
constexpr int CacheBlock = 2048;

template <bool Inverse, bool Scale, typename V>
QV_FFT_INLINE void RemainingStages(const float *tw, int n, float *re, float *im)
{
    constexpr int W = Lanes<V>;
    const bool oddCount = ((Log2(unsigned(n)) - Log2(unsigned(W))) & 1) != 0;
    const int block = n < CacheBlock ? n : CacheBlock;
    int m = W;
    bool two = !oddCount;
    for (int offset = 0; offset < n; offset += block) {
        m = W;
        two = !oddCount;
        while ((two ? 4 * m : 2 * m) <= block) {
            Pass<Inverse, Scale, V>(tw, n, m, two, block, re + offset, im + offset);
            m *= two ? 4 : 2;
            two = true;
        }
    }
    while (m < n) {
        Pass<Inverse, Scale, V>(tw, n, m, two, n, re, im);
        m *= two ? 4 : 2;
        two = true;
    }
}

template <typename V>
QV_FFT_INLINE void TransformVector(const float *tw, const float *rowTw, int n, float *re, float *im, bool inverse)
{
    const int log2n = Log2(unsigned(n));
    if (inverse) {
        FirstPass<true, V>(rowTw, n, log2n, re, im);
        RemainingStages<true, false, V>(tw, n, re, im);
    } else {
        FirstPass<false, V>(rowTw, n, log2n, re, im);
        RemainingStages<false, true, V>(tw, n, re, im);
    }
}

// Smallest sizes for the vector paths: one W x W block.
constexpr int PortableMinSize = 16;
constexpr int Avx2MinSize = 64;

// The split pairs of the real transform (see FFTSplitPairs); k and q never meet here.
QV_FFT_INLINE void SplitPairsBody(float *__restrict reLo, float *__restrict imLo, float *__restrict reHi,
                                  float *__restrict imHi, const float *__restrict cosK, const float *__restrict sinK,
                                  int count)
{
    for (int i = 0; i < count; ++i) {
        const float a = reLo[i], b = reHi[-i], c = imLo[i], d = imHi[-i];
        const float wr = cosK[i], wi = -sinK[i];
        const float s = a + b, dr = a - b, si = c + d, di = c - d;
        const float t1 = dr * wi - si * wr;
        const float t2 = dr * wr + si * wi;
        reLo[i] = (s - t1) * 0.5f;
        reHi[-i] = (s + t1) * 0.5f;
        imLo[i] = (di - t2) * 0.5f;
        imHi[-i] = (-di - t2) * 0.5f;
    }
}

// re[i] = |(re[i], im[i])| for i in [from, count), one element at a time.
inline void AmplitudesTail(float *re, const float *im, int from, int count)
{
    for (int i = from; i < count; ++i) {
        const double r = re[i], m = im[i];
        re[i] = float(std::sqrt(r * r + m * m));
    }
}

} // namespace Fft
} // namespace
} // namespace QVKernels
