#pragma once

#include "framework/qvGlobal.h"
#include "kernels/qvKernels.h"

/// \brief Block kernels behind the filters' `FilterArray`: the IIR cascade here, the others
/// in kernels/qvKernels.h.
///
/// Each filters `count` samples of `data` in place, in order, and carries the filter state
/// over to the next call exactly as the per-sample recursion would.
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

// The other filter kernels, under the names the filter components use.
using QVKernels::FirFilter;
using QVKernels::RCHighpassFilter;
using QVKernels::RCLowpassFilter;
using QVKernels::StateVariableFilter;
using QVKernels::TQVLookahead;

} // namespace QVFilterKernels
