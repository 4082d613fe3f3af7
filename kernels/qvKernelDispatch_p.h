#pragma once

// Internal: the code paths of the kernels and their tables of entry points. Tests and
// benchmarks force a path with Select; the stages call the entry points of qvKernels.h.

#include <cstddef>
#include <cstdint>

#include "kernels/qvKernels.h"

namespace QVKernels {

/// Code paths, by the processor features they need: Avx2 needs AVX2 and FMA, Avx512 and
/// Avx512Split also AVX-512F. Portable is compiled for the build's base instruction set.
/// Avx512Split is Avx512 with the 256-bit sum of squares and state-variable kernels, which
/// are faster on cores that execute a 512-bit operation as two halves; it is the fastest
/// path on those (AMD family 19h), Avx512 on the others.
enum class TQVKernelPath { Portable, Avx2, Avx512, Avx512Split };

/// Whether this build and processor run `path`.
QV_CORE_EXPORT bool Available(TQVKernelPath path);
/// Makes every kernel run `path`; false, and nothing changed, when it is not available.
/// Not while kernels are running.
QV_CORE_EXPORT bool Select(TQVKernelPath path);
/// The path in use: the fastest available unless one was selected.
QV_CORE_EXPORT TQVKernelPath Active();

struct TQVRCSetup;
struct TQVSvfSetup;

struct TQVKernelTable
{
    double (*SumOfSquares)(const float *x, int n);
    int (*TriggerScan)(const float *x, int count, int from, const TQVScanSetup &setup, float &previous);
    std::uint64_t (*MaskedOr)(const void *bytes, const std::uint64_t *mask, std::size_t words);
    void (*FFTTransform)(const float *twiddles, const float *rowTwiddles, int n, float *re, float *im, bool inverse);
    void (*FFTSplitPairs)(float *reLo, float *imLo, float *reHi, float *imHi, const float *cosK, const float *sinK,
                          int count);
    void (*FFTAmplitudes)(float *re, const float *im, int count);
    // Filter lanes (see qvFilterKernels_p.h): the FIR sums of a chunk, the lookahead widths
    // and the RC and state-variable runs from a setup of that width.
    void (*FirLanes)(const float *h, int taps, const double *line, int n, double bound, float *out);
    int RCLanes, SvfLanes;
    void (*RCLow)(const TQVRCSetup &setup, double &state, float *data, int count);
    void (*RCHigh)(const TQVRCSetup &setup, double &state, float *data, int count);
    int (*Svf[4])(const TQVSvfSetup &setup, double &band, double &low, float *data, int count);
};

/// The table of the active path.
const TQVKernelTable &ActiveTable();

// One per file qvKernels<Path>.cpp; null where the build has no such path.
const TQVKernelTable *PortableTable();
const TQVKernelTable *Avx2Table();
const TQVKernelTable *Avx512Table();
const TQVKernelTable *Avx512SplitTable();

} // namespace QVKernels
