#include "analysis/qvFFT.h"

TQVFFT::TQVFFT(QObject *owner) : TQVComponent(owner) {}
TQVFFT::~TQVFFT() = default;
void TQVFFT::SetExponent(int) {}
void TQVFFT::SetLeakType(TQVLeakType) {}
