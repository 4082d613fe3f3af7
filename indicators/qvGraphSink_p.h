#pragma once

// What the graph sinks (plot, waterfall) share about their source.

#include <QtCore/QScopeGuard>

#include "framework/qvMeasIntf.h"
#include "framework/qvResStrings.h"

/// Connects `link` to `source`; `changed()` runs when the connected source differs afterwards,
/// also when the source is refused (the sink may have been connected before).
template <typename F>
void QVConnectGraphSink(TQVMeasureLink &link, TQVMeasureSource *source, F &&changed)
{
    TQVMeasureSource *const before = link.Source();
    if (source == before)
        return;
    const auto notify = qScopeGuard([&] {
        if (link.Source() != before)
            changed();
    });
    link.SeTQVMeasureSource(source);
}

/// \brief Reads the settings of the connected source into `settings`; false without a source.
/// A source with valid settings that is not continuous is cut off and
/// `EQVMSIncompatibleSource` is raised.
inline bool QVReadGraphSinkSettings(TQVMeasureLink &link, TQVMeasureSourceSettings &settings)
{
    TQVMeasureSource *source = link.Source();
    if (!source)
        return false;
    settings = {};
    source->GetSettings(settings);
    if (QVSettingsValid(settings) && !source->Capabilities().Contains(mscContinuous)) {
        link.SeTQVMeasureSource(nullptr);
        throw EQVMSIncompatibleSource(QVLoadResString(TQVResString::StageNeedsContinuous));
    }
    return true;
}
