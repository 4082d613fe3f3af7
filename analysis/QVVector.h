#pragma once

#include "framework/qvGlobal.h"

/// Element storage of the vectors and of the filters' block operation: contiguous 32-bit
/// floats.
using TQVSingleArray = float;

/// Largest element count a vector accepts.
inline constexpr int QVVectorMaxCount = 200000000;

/// \brief An owned array of 32-bit floats, the working storage of the FFT engine.
///
/// Operations write into the vector they are called on (the target) and read one or two
/// arguments, which may be the target itself. They never resize and never report errors:
/// a null argument, an argument shorter than the target or an empty target makes them do
/// nothing. Each element is computed in extended precision and stored as a float.
class QV_CORE_EXPORT TQVVector
{
public:
    /// Zero-filled storage of `count` elements; a count outside 0..200 000 000 or a failed
    /// allocation gives an empty vector.
    explicit TQVVector(int count = 0);
    ~TQVVector();
    TQVVector(const TQVVector &) = delete;
    TQVVector &operator=(const TQVVector &) = delete;

    int Count() const { return m_count; }
    /// Null when the vector is empty.
    TQVSingleArray *Data() { return m_data; }
    const TQVSingleArray *Data() const { return m_data; }
    float &operator[](int i) { return m_data[i]; }
    float operator[](int i) const { return m_data[i]; }

    void Mul(const TQVVector *a, const TQVVector *b);
    void Add(const TQVVector *a, const TQVVector *b);
    void Sub(const TQVVector *a, const TQVVector *b);
    /// No test for zero divisors: the floating-point environment decides.
    void VDiv(const TQVVector *a, const TQVVector *b);
    void SMul(const TQVVector *a, float s);
    void SDiv(const TQVVector *a, float s);
    /// Copies `a` into this vector when this vector is not longer than `a`.
    void Copy(const TQVVector *a);
    /// A new vector with a copy of the elements, owned by the caller; null when empty.
    TQVVector *Duplicate() const;

private:
    int m_count = 0;
    TQVSingleArray *m_data = nullptr;
};

/// \brief A pair of vectors holding real and imaginary parts of `Count` complex points.
///
/// The same no-op rules as `TQVVector`, with the complex `Count` in place of the lengths.
class QV_CORE_EXPORT TQVComplexVector
{
public:
    explicit TQVComplexVector(int count = 0);
    ~TQVComplexVector();
    TQVComplexVector(const TQVComplexVector &) = delete;
    TQVComplexVector &operator=(const TQVComplexVector &) = delete;

    /// The requested length, kept even when the parts could not be allocated.
    int Count() const { return m_count; }
    TQVVector *Re() { return m_re; }
    const TQVVector *Re() const { return m_re; }
    TQVVector *Im() { return m_im; }
    const TQVVector *Im() const { return m_im; }

    void Mul(const TQVComplexVector *a, const TQVComplexVector *b);
    void Add(const TQVComplexVector *a, const TQVComplexVector *b);
    void Sub(const TQVComplexVector *a, const TQVComplexVector *b);
    void VDiv(const TQVComplexVector *a, const TQVComplexVector *b);
    void SMul(const TQVComplexVector *a, float s);
    void SDiv(const TQVComplexVector *a, float s);
    /// Negates the imaginary parts of `a` into this vector; the real parts stay as they are.
    void Conj(const TQVComplexVector *a);
    /// Squared magnitudes into the real parts; the imaginary parts become 0.
    void Square(const TQVComplexVector *a);
    /// Magnitudes into the real parts; the imaginary parts become 0.
    void Abs(const TQVComplexVector *a);
    void Copy(const TQVComplexVector *a);
    TQVComplexVector *Duplicate() const;

private:
    TQVVector *m_re = nullptr;
    TQVVector *m_im = nullptr;
    int m_count = 0;
};
