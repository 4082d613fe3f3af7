#pragma once

#include <memory>

#include "controls/qvbargraphint.h"
#include "controls/qvmeterInt.h"
#include "framework/qvMeasIntf.h"
#include "indicators/QVLedInt.h"
#include "indicators/QVPanelMeterInt.h"

/// \brief The measurement input shared by the instrument sinks: one single-value link and
/// the `MeasureSource` accessors that drive it.
///
/// Only continuous single-value sources of one channel are accepted; connecting any other
/// source raises `EQVMSIncompatibleSource` and leaves the sink unconnected. A source that
/// is destroyed leaves the sink unconnected as well.
class QV_WIDGETS_EXPORT TQVSingleValueSink
{
public:
    TQVSingleValueSink(const TQVSingleValueSink &) = delete;
    TQVSingleValueSink &operator=(const TQVSingleValueSink &) = delete;

    /// The connected source, or null.
    TQVMeasureSource *MeasureSource() const { return m_inputLink->Source(); }
    /// \brief Connects to `source` (null disconnects); ignored when it is the current one.
    /// Emits `SettingsChanged` when the connected source changed, also when it raises.
    void SetMeasureSource(TQVMeasureSource *source);
    /// `MeasureSource` and `SetMeasureSource` under the names the stages use.
    TQVMeasureSource *GetQVMeasureSource() const { return MeasureSource(); }
    void SetQVMeasureSource(TQVMeasureSource *source) { SetMeasureSource(source); }
    /// \brief The write of the published `MeasureSource`: `SetMeasureSource`, with a refused
    /// source reported through `ErrorOccurred` instead of raised.
    void WriteMeasureSource(TQVMeasureSource *source);

    TQVMeasureLink *InputLink() const { return m_inputLink.get(); }

protected:
    explicit TQVSingleValueSink(TQVCustomControl *owner);
    /// Disconnects before the display part of the sink goes away.
    ~TQVSingleValueSink();

    /// The first sample of channel 0, when the block carries one.
    static bool FirstSample(const TQVDescArraySingle &data, float &x);

    std::unique_ptr<TQVMeasureLinkSingleValue> m_inputLink;

private:
    TQVCustomControl *m_control;
};

/// \brief An LED that compares every value of its source against `Limit` or the range
/// `RangeLower`..`RangeUpper` and lights up when the comparison holds.
///
/// The thresholds are 32-bit floats; a write is rounded to one, and only a real change
/// re-evaluates the last received value. NaN thresholds are ignored.
class QV_WIDGETS_EXPORT TQVLed : public TQVLedInt, public TQVSingleValueSink
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY SettingsChanged)
    // Published as double, which forms and Qt Designer can hold; the values stay 32-bit.
    Q_PROPERTY(double Limit READ LimitProperty WRITE SetLimitProperty NOTIFY SettingsChanged)
    Q_PROPERTY(double RangeLower READ RangeLowerProperty WRITE SetRangeLowerProperty NOTIFY SettingsChanged)
    Q_PROPERTY(double RangeUpper READ RangeUpperProperty WRITE SetRangeUpperProperty NOTIFY SettingsChanged)

public:
    explicit TQVLed(QWidget *parent = nullptr);
    ~TQVLed() override;

    float Limit() const { return float(TQVLedInt::Limit()); }
    void SetLimit(float limit);
    float RangeLower() const { return float(TQVLedInt::RangeLower()); }
    void SetRangeLower(float lower);
    float RangeUpper() const { return float(TQVLedInt::RangeUpper()); }
    void SetRangeUpper(float upper);

    double LimitProperty() const { return Limit(); }
    void SetLimitProperty(double limit) { SetLimit(float(limit)); }
    double RangeLowerProperty() const { return RangeLower(); }
    void SetRangeLowerProperty(double lower) { SetRangeLower(float(lower)); }
    double RangeUpperProperty() const { return RangeUpper(); }
    void SetRangeUpperProperty(double upper) { SetRangeUpper(float(upper)); }

protected:
    void MLOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);
};

/// \brief A digital panel meter that shows every value of its source.
class QV_WIDGETS_EXPORT TQVPanelMeter : public TQVPanelMeterInt, public TQVSingleValueSink
{
    Q_OBJECT
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY SettingsChanged)

public:
    explicit TQVPanelMeter(QWidget *parent = nullptr);
    ~TQVPanelMeter() override;

protected:
    void MLOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);
};

/// \brief An analog needle meter that shows every value of its source.
///
/// With `AutoConfig` its scale follows the value range the source reports, keeping the
/// number of scale divisions it had.
class QV_WIDGETS_EXPORT TQVMeter : public TQVMeterInt, public TQVSingleValueSink
{
    Q_OBJECT
    Q_PROPERTY(bool AutoConfig READ AutoConfig WRITE SetAutoConfig NOTIFY SettingsChanged)
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY SettingsChanged)

public:
    explicit TQVMeter(QWidget *parent = nullptr);
    ~TQVMeter() override;

    bool AutoConfig() const { return m_autoConfig; }
    /// Takes effect with the next settings change of the source.
    void SetAutoConfig(bool autoConfig)
    {
        if (QVChange(m_autoConfig, autoConfig))
            emit SettingsChanged();
    }

protected:
    void MLOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);
    void MLOnUpdateSettings(TQVMeasureLink *link);

private:
    bool m_autoConfig = true;
};

/// \brief A bar graph that shows every value of its source.
///
/// With `AutoConfig` its scale ends follow the value range the source reports.
class QV_WIDGETS_EXPORT TQVBarGraph : public TQVBarGraphInt, public TQVSingleValueSink
{
    Q_OBJECT
    Q_PROPERTY(bool AutoConfig READ AutoConfig WRITE SetAutoConfig NOTIFY SettingsChanged)
    Q_PROPERTY(TQVMeasureSource *MeasureSource READ GetQVMeasureSource WRITE WriteMeasureSource NOTIFY SettingsChanged)

public:
    explicit TQVBarGraph(QWidget *parent = nullptr);
    ~TQVBarGraph() override;

    bool AutoConfig() const { return m_autoConfig; }
    /// Takes effect with the next settings change of the source.
    void SetAutoConfig(bool autoConfig)
    {
        if (QVChange(m_autoConfig, autoConfig))
            emit SettingsChanged();
    }

protected:
    void MLOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data);
    void MLOnUpdateSettings(TQVMeasureLink *link);

private:
    bool m_autoConfig = true;
};
