#pragma once

#include "framework/qvGlobal.h"

/// \brief Block kernels behind the filters' `FilterArray`.
///
/// Each filters `count` samples of `data` in place, in order, and carries the filter state
/// over to the next call exactly as the per-sample recursion would. The state is kept in the
/// components' 80-bit form; a kernel may compute in double (and vectors) as long as every
/// 32-bit output stays within one ulp of the 80-bit recursion, and gives the same outputs
/// however the stream is cut into calls.
namespace QVFilterKernels {

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

/// Cascade of `sectionCount` sections; `stages` has sectionCount + 1 entries.
QV_CORE_EXPORT void IirFilter(TQVIirKind kind, const TQVIirSection *sections, TQVIirStage *stages, int sectionCount,
                              float *data, int count);

/// Convolution with `taps` coefficients; h[0] weights the newest sample. `delay` holds the
/// last `taps` inputs circularly, `position` is the 1-based slot of the newest (0 after a
/// reset, when the line is all zeros).
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

/// Code paths of the kernels, picked at start-up from the processor's features; tests and
/// benchmarks may force one that is available.
enum class TQVKernelPath { Portable, Avx2, Avx512 };
QV_CORE_EXPORT bool KernelPathAvailable(TQVKernelPath path);
QV_CORE_EXPORT bool SelectKernelPath(TQVKernelPath path);
QV_CORE_EXPORT TQVKernelPath ActiveKernelPath();

} // namespace QVFilterKernels
