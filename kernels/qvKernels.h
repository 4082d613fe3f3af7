#pragma once

#include <cstddef>
#include <cstdint>

#include "framework/qvGlobal.h"

/// \brief The inner loops of the stages: sums, trigger scans, FFT steps, filter kernels.
///
/// Each entry point runs the code path chosen once at start-up from the processor's
/// features (see docs/kernels.md); every path gives the results described here.
namespace QVKernels {

// ---------------------------------------------------------------------------------------
// Blocks

/// Copies n samples between arrays that do not overlap, as memcpy does, at an even speed
/// wherever the two lie: when the destination starts just above the source modulo 4 KiB,
/// a forward copy reads addresses that the processor takes for ones it has just written
/// (and the string move that memcpy uses for large blocks slows down several-fold), so
/// those copies run from the end.
QV_CORE_EXPORT void CopySamples(float *destination, const float *source, int n);

// ---------------------------------------------------------------------------------------
// Analyzer

/// Sum of x[i]^2 over n samples in double lanes; relative error at most (n / 16 + 8) 2^-52.
QV_CORE_EXPORT double SumOfSquares(const float *x, int n);

// ---------------------------------------------------------------------------------------
// Trigger

/// Sample conditions of the trigger scan.
enum class TQVScanKind {
    Rising,       ///< the first sample not above Low, then the first above it
    Falling,      ///< the first sample not below Low, then the first below it
    RisingSlope,  ///< the first sample not above Low, then above Low with the slope test
    InRangeSlope, ///< strictly between Low and High with the slope test
    FallingSlope, ///< below Low with the slope test
};

struct TQVScanSetup
{
    TQVScanKind Kind;
    float Low, High, Slope;
};

/// The trigger scan of samples x[from - 1 .. count - 1] (positions are 1-based): the first
/// position whose condition holds, or count + 1. The slope test compares the difference to
/// the previous sample, in extended precision, with `Slope` (>= when Slope >= 0, else <=);
/// the first sample of a slope scan compares with `previous`, which the scan then leaves
/// at the sample before the hit, or at the last sample when there is none.
QV_CORE_EXPORT int TriggerScan(const float *x, int count, int from, const TQVScanSetup &setup, float &previous);

/// Nonzero exactly when one of the `words` 64-bit words of `bytes`, ANDed with mask[i], is
/// nonzero; `bytes` need not be aligned.
QV_CORE_EXPORT std::uint64_t MaskedOr(const void *bytes, const std::uint64_t *mask, std::size_t words);

// ---------------------------------------------------------------------------------------
// FFT

/// Floats of the twiddle array of an n-point transform.
constexpr std::size_t FFTTwiddleFloats(int n)
{
    return 2 * std::size_t(n);
}
/// Floats of the row twiddles.
constexpr int FFTRowTwiddleFloats = 64;

/// Lays out the twiddles of an n-point transform (n a power of two >= 2) from cosTable[k] =
/// cos(pi k / n) and sinTable[k] = sin(pi k / n), k = 0..n-1: `twiddles` holds
/// FFTTwiddleFloats(n) floats, best aligned to 64 bytes, `rowTwiddles` FFTRowTwiddleFloats.
QV_CORE_EXPORT void FFTPrepare(int n, const float *cosTable, const float *sinTable, float *twiddles,
                               float *rowTwiddles);

/// In-place radix-2 transform of n points with the twiddles of FFTPrepare: bit reversal,
/// butterflies and, when forward, the 1/N scale. Within single-precision rounding of
/// forward X[k] = (1/N) sum x[n] e^(+2 pi i n k / N), inverse x[n] = sum X[k] e^(-2 pi i n k / N).
QV_CORE_EXPORT void FFTTransform(const float *twiddles, const float *rowTwiddles, int n, float *re, float *im,
                                 bool inverse);

/// The split of the real transform for the pairs k = 1 .. count with q = N - k: `reLo`/`imLo`
/// point at element 1, `reHi`/`imHi` at element N - 1 and run downwards, cosK/sinK at table
/// entry 1. In float, every product rounded (no fused multiply-add): the same floats on
/// every path.
QV_CORE_EXPORT void FFTSplitPairs(float *reLo, float *imLo, float *reHi, float *imHi, const float *cosK,
                                  const float *sinK, int count);

/// re[i] = |(re[i], im[i])| through double squares and a correctly rounded double root.
QV_CORE_EXPORT void FFTAmplitudes(float *re, const float *im, int count);

// ---------------------------------------------------------------------------------------
// Filters
//
// Each filters `count` samples of `data` in place, in order, and carries the filter state
// over to the next call exactly as the per-sample recursion would. The state is kept in
// the components' 80-bit form; a kernel may compute in double (and vectors) as long as
// every 32-bit output stays within one ulp of the 80-bit recursion, and gives the same
// outputs however the stream is cut into calls.

/// Coefficients c0..c4 of one IIR section (low- and high-pass use c0..c2).
struct TQVIirSection
{
    long double C[5];
};

/// History s1 (oldest) .. s5 of one IIR stage; low- and high-pass use s1..s3.
/// Stage k holds the input history of section k, stage k + 1 its output history.
struct TQVIirStage
{
    long double S[5];
};

enum class TQVIirKind { LowPass, BandPass, HighPass };

/// Cascade of `sectionCount` sections; `stages` has sectionCount + 1 entries. The 80-bit
/// per-sample recursion itself (x87, one path on every processor): bit-identical.
QV_CORE_EXPORT void IirFilter(TQVIirKind kind, const TQVIirSection *sections, TQVIirStage *stages, int sectionCount,
                              float *data, int count);

/// Convolution with `taps` coefficients; h[0] weights the newest sample. `delay` holds the
/// last `taps` inputs circularly, `position` is the 1-based slot of the newest (0 after a
/// reset, when the line is all zeros). Bit-identical to the 80-bit sum.
QV_CORE_EXPORT void FirFilter(const float *h, int taps, float *delay, int &position, float *data, int count);

/// What the RC and state-variable kernels carry from call to call, so that their outputs do
/// not depend on how a stream is cut into blocks. Their lookahead restarts from the state at
/// fixed anchors, every `Span` samples counted from the first; a call that ends between two
/// anchors keeps the inputs since the last one and goes over them again with the next call.
/// A state or coefficient changed by anyone else starts afresh from that state.
struct TQVLookahead
{
    static constexpr int Span = 256;
    long double Anchor[2] = {};       // the state at the last anchor
    long double Left[2] = {};         // the state as the last call left it
    long double Coefficients[2] = {}; // those of the last call
    int Pending = 0;                  // inputs since the anchor, in Inputs
    float Inputs[Span] = {};
};

/// RC low-pass: y = a s (the 80-bit product rounded), s = s - a s + x.
QV_CORE_EXPORT void RCLowpassFilter(long double a, long double &state, TQVLookahead &lookahead, float *data,
                                    int count);

/// RC high-pass: p = a s, y = x - p rounded, s = s - p + x.
QV_CORE_EXPORT void RCHighpassFilter(long double a, long double &state, TQVLookahead &lookahead, float *data,
                                     int count);

/// State-variable filter; `output` 0..3 = low, band, high, notch.
QV_CORE_EXPORT void StateVariableFilter(int output, float f, float damping, long double &band, long double &low,
                                        TQVLookahead &lookahead, float *data, int count);

} // namespace QVKernels
