#include "quick/qvQuickStreams.h"

TQVQuickExtension::TQVQuickExtension(QObject *target)
    : QObject(target)
    , m_target(target)
{
}

TQVQuickBlockSourceExtension::TQVQuickBlockSourceExtension(QObject *target)
    : TQVQuickExtension(target)
{
    LinkProperties();
    if (TQVBlockSource *source = Source())
        connect(source, &TQVBlockSource::StateChanged, this, &TQVQuickBlockSourceExtension::runningChanged);
}

TQVBlockSource *TQVQuickBlockSourceExtension::Source() const
{
    return qobject_cast<TQVBlockSource *>(Target());
}

bool TQVQuickBlockSourceExtension::running() const
{
    return Source() && Source()->IsRunning();
}

void TQVQuickBlockSourceExtension::tick(int blocks)
{
    if (TQVBlockSource *source = Source()) {
        for (int i = 0; i < blocks; ++i)
            source->Tick();
    }
}

void TQVQuickBlockSourceExtension::run()
{
    if (TQVBlockSource *source = Source())
        source->Run();
}

void TQVQuickBlockSourceExtension::stop()
{
    if (TQVBlockSource *source = Source())
        source->Stop();
}
