#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "analysis/QVVector.h"
#include "analysis/qvFFTKernel.h"
#include "framework/qvComponent.h"

namespace QVAnalysis {
Q_NAMESPACE_EXPORT(QV_CORE_EXPORT)

/// Window applied before a transform.
enum TQVLeakType : quint8 {
    wnRectangle,
    wnHanning,
    wnHamming,
    wnBlackman,
    wnOwn,
    wnHann,
    wnBlackmanHarris67dB,
    wnBlackmanHarris92dB,
};
Q_ENUM_NS(TQVLeakType)

} // namespace QVAnalysis

using QVAnalysis::TQVLeakType;
using enum QVAnalysis::TQVLeakType;

/// A window routine: applies a window to the vector's elements in place.
using TQVLeakFunction = std::function<void(TQVVector &)>;

/// \brief Radix-2 transforms of 2^`Exponent` complex points and the spectral products built
/// on them, with the current window.
///
/// The forward transform carries the 1/N factor and the positive exponent; the inverse is
/// unscaled. Every operation checks its vectors and silently does nothing when one is
/// missing or has another length than the one it needs. Vectors from `NewArray` and
/// `NewComplex` stay owned by the engine.
class QV_CORE_EXPORT TQVFFT : public TQVComponent
{
    Q_OBJECT
    Q_PROPERTY(int Exponent READ Exponent WRITE SetExponent NOTIFY SettingsChanged)
    Q_PROPERTY(int Size READ Size NOTIFY SettingsChanged)
    Q_PROPERTY(QVAnalysis::TQVLeakType LeakFunction READ LeakFunction WRITE SetLeakType NOTIFY SettingsChanged)

public:
    explicit TQVFFT(QObject *owner = nullptr);
    ~TQVFFT() override;

    /// Leaving the designer builds the tables and the window that were skipped there.
    void SetDesigning(bool designing) override;

    int Exponent() const { return m_exponent; }
    /// 1..31; other values are ignored. A new value rebuilds the tables and the window.
    void SetExponent(int exponent);
    int Size() const { return m_size; }
    TQVLeakType LeakFunction() const { return m_leakType; }
    void SetLeakType(TQVLeakType type);
    const TQVLeakFunction &OwnerLeakFunction() const { return m_ownerLeakFunction; }
    /// Takes effect the next time `wnOwn` is installed.
    void SetOwnerLeakFunction(TQVLeakFunction function);

    TQVVector *NewArray(int count);
    void FreeArray(TQVVector *vector);
    TQVComplexVector *NewComplex(int count);
    void FreeComplex(TQVComplexVector *vector);

    /// Rebuilds the twiddle tables for `n` points (skipped while designing).
    void SetCoeff(int n);
    const TQVVector *CosTable() const { return m_cosTable; }
    const TQVVector *SinTable() const { return m_sinTable; }
    const TQVVector *WindowVector() const { return m_window; }

    void ComplexFFT(TQVComplexVector *vector, bool inverse);
    void ComplexToReal(TQVComplexVector *vector);
    void RealToComplex(TQVComplexVector *vector);
    void CoeffToAmpl(TQVComplexVector *vector, bool withPhase);
    void AmplToCoeff(TQVComplexVector *vector);
    void ScrambleData(const TQVVector *source, TQVComplexVector *target);
    void UnscrambleData(const TQVComplexVector *source, TQVVector *target);
    void RealFFT(TQVVector *input, TQVComplexVector *output, bool withPhase);
    void RealInverseFFT(TQVComplexVector *input, TQVVector *output);
    void PowerSpectrum(TQVComplexVector *vector);
    void AutoCorrelation(TQVComplexVector *vector);
    void CrossPowerSpectrum(TQVComplexVector *result, TQVComplexVector *a, TQVComplexVector *b);
    void CrossCorrelation(TQVComplexVector *result, TQVComplexVector *a, TQVComplexVector *b);
    void Convolute(TQVComplexVector *result, TQVComplexVector *a, TQVComplexVector *b);

    // Windows
    void InstallLeakFunction(TQVLeakType type, int length);
    void DoLeakTransformation(TQVVector *vector);
    void LeakRectangle(TQVVector &vector);
    void LeakDefault(TQVVector &vector);
    static void CalcHanning(TQVVector *vector);
    static void CalcHamming(TQVVector *vector);
    static void CalcBlackman(TQVVector *vector);
    static void CalcHann(TQVVector *vector);
    static void CalcBlackmanHarris67dB(TQVVector *vector);
    static void CalcBlackmanHarris92dB(TQVVector *vector);

signals:
    /// `Exponent` (with `Size`) or the window type changed.
    void SettingsChanged();

private:
    /// Which routine `DoLeakTransformation` applies.
    enum class TQVInstalledLeak : quint8 { Rectangle, Default, Owner };

    bool TablesReady() const;
    /// Present with both parts holding `Size` points, and `Count` equal to `Size`.
    bool HasSize(const TQVComplexVector *vector) const;
    /// `HasSize`, and the tables and the transform kernel prepared for `Size`.
    bool CanTransform(const TQVComplexVector *vector) const;
    /// Steps after the early return of `InstallLeakFunction`.
    void InstallWindow(TQVLeakType type, int length);
    void ApplyInstalledLeak(TQVVector &vector);
    void WindowAndTransform(TQVComplexVector *vector);

    int m_exponent = 10;
    int m_size = 1024;
    TQVLeakType m_leakType = wnRectangle;
    TQVInstalledLeak m_installedLeak = TQVInstalledLeak::Rectangle;
    std::vector<TQVVector *> m_arrays;
    std::vector<TQVComplexVector *> m_complexes;
    TQVVector *m_cosTable = nullptr;
    TQVVector *m_sinTable = nullptr;
    TQVVector *m_window = nullptr;
    TQVLeakFunction m_ownerLeakFunction;
    // Shared so that a callback which re-installs the window while it runs stays alive.
    std::shared_ptr<const TQVLeakFunction> m_installedLeakFunction;
    TQVFFTKernel m_kernel;
};
