#pragma once

#include <array>
#include <functional>
#include <vector>

#include <QtCore/QStringList>

#include "framework/qvMeasIntf.h"

/// \brief Passes one chosen input channel on as channel 0; the samples are not copied.
class QV_CORE_EXPORT TQVSelectorSingle : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(bool RequestHarmonizedData READ RequestHarmonizedData WRITE SetRequestHarmonizedData NOTIFY
                   SettingsChanged)
    Q_PROPERTY(int Channel0 READ Channel0 WRITE SetChannel0 NOTIFY Channel0Changed)

public:
    explicit TQVSelectorSingle(QObject *owner = nullptr);

    using TQVMLSBase::RequestHarmonizedData;
    /// Kept while unconnected; see the stage pattern for the connected case.
    void SetRequestHarmonizedData(bool value);
    int Channel0() const { return m_channel0; }
    /// Accepts 0 to 64; other values are ignored.
    void SetChannel0(int channel);

signals:
    void Channel0Changed(int channel);

protected:
    QString IncompatibleSourceMessage() const override;
    bool UsesHarmonizeStep() const override { return true; }
    TQVMeasureSourceCapabilities AdjustCapabilities(TQVMeasureSourceCapabilities capabilities) const override;
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:
    int m_channel0 = 0;
};

/// \brief Passes two chosen input channels on as channels 0 and 1; the samples are not
/// copied.
///
/// Channel 1 is taken after channel 0 was replaced, so `Channel1` = 0 repeats the channel
/// chosen by `Channel0`.
class QV_CORE_EXPORT TQVSelectorDual : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(bool RequestHarmonizedData READ RequestHarmonizedData WRITE SetRequestHarmonizedData NOTIFY
                   SettingsChanged)
    Q_PROPERTY(int Channel0 READ Channel0 WRITE SetChannel0 NOTIFY Channel0Changed)
    Q_PROPERTY(int Channel1 READ Channel1 WRITE SetChannel1 NOTIFY Channel1Changed)

public:
    explicit TQVSelectorDual(QObject *owner = nullptr);

    using TQVMLSBase::RequestHarmonizedData;
    /// Ignored while unconnected.
    void SetRequestHarmonizedData(bool value);
    int Channel0() const { return m_channel0; }
    /// Accepts 0 to 64; other values are ignored.
    void SetChannel0(int channel);
    int Channel1() const { return m_channel1; }
    /// Accepts 0 to 64; other values are ignored.
    void SetChannel1(int channel);

signals:
    void Channel0Changed(int channel);
    void Channel1Changed(int channel);

protected:
    bool AcceptsSource(TQVMeasureSourceCapabilities sourceCapabilities) const override;
    QString IncompatibleSourceMessage() const override;
    TQVMeasureSourceCapabilities AdjustCapabilities(TQVMeasureSourceCapabilities capabilities) const override;
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:
    int m_channel0 = 0;
    int m_channel1 = 0;
};

/// \brief Routes any input channel to any output channel by text lines "input -> output";
/// the samples are not copied.
///
/// Every block goes out with `HeaderWord` set to the number of lines; when two inputs
/// route to the same output, the higher input wins.
class QV_CORE_EXPORT TQVSelectorMatrix : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(bool RequestHarmonizedData READ RequestHarmonizedData WRITE SetRequestHarmonizedData NOTIFY
                   SettingsChanged)
    Q_PROPERTY(QStringList Selector READ Selector WRITE WriteSelector NOTIFY SettingsChanged)

public:
    using TQVRoutingTable = std::array<qint32, QVChannelSlots>;

    explicit TQVSelectorMatrix(QObject *owner = nullptr);

    using TQVMLSBase::RequestHarmonizedData;
    /// Ignored while unconnected.
    void SetRequestHarmonizedData(bool value);

    QStringList Selector() const { return m_selector; }
    /// Takes the lines and installs them. A bad line raises `EConvertError` and leaves
    /// lines and routing as they were. While loading, the lines are only stored and
    /// `Loaded` installs them.
    void SetSelector(const QStringList &lines);
    QV_GUARDED_WRITE(Selector, const QStringList &)

    /// Output channel of every input channel, -1 for none.
    const TQVRoutingTable &RoutingTable() const { return m_table; }

    /// Rebuilds the routing table from `Selector` and lets the downstream links re-read
    /// the settings. A bad line raises `EConvertError` naming it; the table is then kept.
    void InstallSelector();
    /// Installs the stored lines when there are any.
    void Loaded() override;

    /// The line that routes `input` to `output`: "input -> output".
    static QString CreateSelectorEntry(int input, int output);
    /// Reads a line "input <token> output" into the two channels, each clamped to 0 to 64.
    /// Raises `EConvertError` when a number is not an integer; `lineNumber` (1-based)
    /// only names the line in the message.
    static void ConvertSelectorEntry(const QString &line, int &input, int &output, int lineNumber = 1);

protected:
    QString IncompatibleSourceMessage() const override;
    void AdjustSettings(TQVMeasureSourceSettings &settings) const override;
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:
    static TQVRoutingTable ParseSelector(const QStringList &lines);

    QStringList m_selector;
    TQVRoutingTable m_table{};
    bool m_tableFromSelector = true; // false while loaded lines wait for `Loaded`
};

/// \brief Reduces channel 0 of every block to one value and passes on a block that
/// carries only that value in channel 0.
///
/// Works on a private copy of the samples, kept between blocks. Accepts every source and
/// adds `mscSingleValue` to its capabilities; the settings are the source's, unchanged.
class QV_CORE_EXPORT TQVAnalyzer : public TQVMLSBase
{
    Q_OBJECT
    Q_PROPERTY(TQVMLSCompression Compression READ Compression WRITE SetCompression NOTIFY CompressionChanged)

public:
    enum TQVMLSCompression : quint8 {
        mcoFirst,
        mcoLast,
        mcoAverage,
        mcoMin,
        mcoMax,
        mcoRMS,
        mcoDev, ///< sample standard deviation (divisor n - 1)
    };
    Q_ENUM(TQVMLSCompression)

    /// Computes the value from the samples in `data` (the analyzer's own copy) and writes
    /// it into `value`, which comes in as 0.
    using TQVMLSUserData = std::function<void(float &value, QVDescArraySingle data)>;

    explicit TQVAnalyzer(QObject *owner = nullptr);

    TQVMLSCompression Compression() const { return m_compression; }
    /// Values outside the enumeration are ignored.
    void SetCompression(TQVMLSCompression compression);

    /// The reduction of `Compression` over `count` >= 1 samples.
    static float Compress(TQVMLSCompression compression, const float *x, int count);

    /// When assigned, computes the value instead of `Compression`.
    TQVMLSUserData OnUserData;

signals:
    /// Emitted with every computed value, before the block goes to the downstream links.
    void Analyzed(float value);
    void CompressionChanged(TQVMLSCompression compression);

protected:
    bool AcceptsSource(TQVMeasureSourceCapabilities) const override { return true; }
    bool ChecksSettingsValidity() const override { return false; }
    TQVMeasureSourceCapabilities AdjustCapabilities(TQVMeasureSourceCapabilities capabilities) const override
    {
        return capabilities + mscSingleValue;
    }
    void MLSOnNewData(TQVMeasureLink *link, TQVDescArraySingle &data) override;

private:
    static bool FastRootMeanSquare(const float *x, int n, float &result);

    TQVMLSCompression m_compression = mcoFirst;
    // One buffer per delivery depth: a block that arrives while an earlier one is still
    // being delivered must not overwrite the samples the earlier one points at.
    std::vector<std::vector<float>> m_buffers;
    int m_depth = 0;
};
