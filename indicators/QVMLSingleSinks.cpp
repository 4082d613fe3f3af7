#include "indicators/QVMLSingleSinks.h"

#include <cmath>

#include <QtCore/QScopeGuard>

namespace {

// Nearest integer, ties to even, independent of the floating-point environment.
double RoundHalfEven(double x)
{
    const double r = std::round(x); // ties away from zero
    if (std::fabs(x - std::trunc(x)) == 0.5)
        return 2.0 * std::round(x / 2.0);
    return r;
}

} // namespace

// ---------------------------------------------------------------------------------------
// TQVSingleValueSink

TQVSingleValueSink::TQVSingleValueSink(TQVCustomControl *owner)
    : m_inputLink(std::make_unique<TQVMeasureLinkSingleValue>(owner))
    , m_control(owner)
{
}

TQVSingleValueSink::~TQVSingleValueSink()
{
    // The sink's own part is already gone: no callback may reach it while disconnecting.
    m_inputLink->OnNewData = nullptr;
    m_inputLink->OnUpdateSettings = nullptr;
    m_inputLink.reset();
}

void TQVSingleValueSink::SetMeasureSource(TQVMeasureSource *source)
{
    // A sink is never a source itself, so there is no self test.
    TQVMeasureSource *const before = m_inputLink->Source();
    if (source == before)
        return;
    const auto notify = qScopeGuard([&] {
        if (m_inputLink->Source() != before)
            emit m_control->SettingsChanged();
    });
    m_inputLink->SeTQVMeasureSource(source);
}

void TQVSingleValueSink::WriteMeasureSource(TQVMeasureSource *source)
{
    m_control->GuardedWrite([&] { SetMeasureSource(source); });
}

bool TQVSingleValueSink::FirstSample(const TQVDescArraySingle &data, float &x)
{
    const QVDescArraySingle &slot = data.Channels[0];
    if (!QVHasData(slot))
        return false;
    x = slot.Data[0];
    return true;
}

// ---------------------------------------------------------------------------------------
// TQVLed

TQVLed::TQVLed(QWidget *parent)
    : TQVLedInt(parent)
    , TQVSingleValueSink(this)
{
    m_inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) {
        MLOnNewData(link, data);
    };
}

TQVLed::~TQVLed() = default;

// The LED control keeps the thresholds and evaluates them by the same rules (strict over
// and under, inclusive range, no correction of a reversed range, re-evaluation of the last
// value only on a real change). The sink rounds every threshold to 32 bits first, so that
// the control's comparison is exactly the comparison of 32-bit floats.

void TQVLed::SetLimit(float limit)
{
    TQVLedInt::SetLimit(double(limit));
}

void TQVLed::SetRangeLower(float lower)
{
    TQVLedInt::SetRangeLower(double(lower));
}

void TQVLed::SetRangeUpper(float upper)
{
    TQVLedInt::SetRangeUpper(double(upper));
}

void TQVLed::MLOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    float x = 0.0f;
    if (FirstSample(data, x))
        UpdateValue(x);
}

// ---------------------------------------------------------------------------------------
// TQVPanelMeter

TQVPanelMeter::TQVPanelMeter(QWidget *parent)
    : TQVPanelMeterInt(parent)
    , TQVSingleValueSink(this)
{
    m_inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) {
        MLOnNewData(link, data);
    };
}

TQVPanelMeter::~TQVPanelMeter() = default;

void TQVPanelMeter::MLOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    float x = 0.0f;
    if (FirstSample(data, x))
        SetValue(double(x));
}

// ---------------------------------------------------------------------------------------
// TQVMeter

TQVMeter::TQVMeter(QWidget *parent)
    : TQVMeterInt(parent)
    , TQVSingleValueSink(this)
{
    m_inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) {
        MLOnNewData(link, data);
    };
    m_inputLink->OnUpdateSettings = [this](TQVMeasureLink *link) { MLOnUpdateSettings(link); };
}

TQVMeter::~TQVMeter() = default;

void TQVMeter::MLOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    float x = 0.0f;
    if (FirstSample(data, x))
        SetValue(double(x));
}

void TQVMeter::MLOnUpdateSettings(TQVMeasureLink *link)
{
    if (!m_autoConfig || !link->Source())
        return;
    TQVMeasureSourceSettings settings{};
    link->Source()->GetSettings(settings);

    // Keep the number of scale divisions: taken before the range changes, and one when
    // the scale had none (or no sensible gap).
    double divisions = RoundHalfEven((ValueMax() - ValueMin()) / ValueGap());
    if (divisions == 0.0 || !std::isfinite(divisions))
        divisions = 1.0;
    SetValueMin(double(settings.RangeMin));
    SetValueMax(double(settings.RangeMax));
    SetValueGap((ValueMax() - ValueMin()) / divisions);
}

// ---------------------------------------------------------------------------------------
// TQVBarGraph

TQVBarGraph::TQVBarGraph(QWidget *parent)
    : TQVBarGraphInt(parent)
    , TQVSingleValueSink(this)
{
    m_inputLink->OnNewData = [this](TQVMeasureLink *link, TQVDescArraySingle &data) {
        MLOnNewData(link, data);
    };
    m_inputLink->OnUpdateSettings = [this](TQVMeasureLink *link) { MLOnUpdateSettings(link); };
}

TQVBarGraph::~TQVBarGraph() = default;

void TQVBarGraph::MLOnNewData(TQVMeasureLink *, TQVDescArraySingle &data)
{
    float x = 0.0f;
    if (FirstSample(data, x))
        SetValue(double(x));
}

void TQVBarGraph::MLOnUpdateSettings(TQVMeasureLink *link)
{
    if (!m_autoConfig || !link->Source())
        return;
    TQVMeasureSourceSettings settings{};
    link->Source()->GetSettings(settings);
    SetValueMin(double(settings.RangeMin));
    SetValueMax(double(settings.RangeMax));
}
