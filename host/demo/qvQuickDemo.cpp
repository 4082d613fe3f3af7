#include "qvQuickDemo.h"

#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickView>

#include "quick/qvQuickFace.h"

TQVQuickDemo::TQVQuickDemo()
    : m_view(std::make_unique<QQuickView>())
{
    QVQuickInitialize();
    m_view->setTitle(QStringLiteral("Velmora demo (QML)"));
    m_view->setSource(QUrl(QStringLiteral("qrc:/velmora/demo/demo.qml")));
    m_root = m_view->rootObject();
}

TQVQuickDemo::~TQVQuickDemo()
{
    // Stop the timer of the generator before the items and stages go.
    SetRunning(false);
}

bool TQVQuickDemo::Loaded() const
{
    return m_root != nullptr;
}

void TQVQuickDemo::Show()
{
    m_view->show();
}

void TQVQuickDemo::RunBlocks(int blocks)
{
    if (Loaded())
        QMetaObject::invokeMethod(m_root, "runBlocks", Q_ARG(QVariant, blocks));
}

// The stream types made in QML live in the Quick library: they are reached through QML
// and the meta-object, not by casts to the host classes linked into this program.
void TQVQuickDemo::Tick()
{
    if (Loaded())
        QMetaObject::invokeMethod(m_root, "tick");
}

void TQVQuickDemo::SetRunning(bool running)
{
    if (Loaded())
        m_root->setProperty("running", running);
}

void TQVQuickDemo::RenderFrame()
{
    QEvent request(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(m_view.get(), &request);
}

double TQVQuickDemo::MeterValue() const
{
    QObject *meter = Loaded() ? m_root->property("meter").value<QObject *>() : nullptr;
    return meter ? meter->property("value").toDouble() : 0.0;
}

QImage TQVQuickDemo::Snapshot()
{
    return m_view->grabWindow();
}
