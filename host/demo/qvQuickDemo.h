#pragma once

#include <memory>

#include <QtGui/QImage>

class QQuickView;
class QQuickItem;

/// \brief The demo panel in QML (demo.qml) in a window of its own: the same chain and
/// instruments as `TQVDemoPanel`, as Qt Quick items and QML stream types.
class TQVQuickDemo
{
public:
    /// Loads the panel; `Loaded` says whether that worked (the errors go to the log).
    TQVQuickDemo();
    ~TQVQuickDemo();

    bool Loaded() const;
    /// Shows the window (offscreen on the offscreen platform).
    void Show();
    /// Runs `blocks` blocks through the chain at once.
    void RunBlocks(int blocks);
    /// Delivers one block, as the panel's timer does in real time.
    void Tick();
    /// Starts or stops the real-time run.
    void SetRunning(bool running);
    /// Renders the frame the changes since the last one asked for, at once, as the window
    /// system's update request does.
    void RenderFrame();
    /// The RMS the needle meter shows.
    double MeterValue() const;
    /// The window's contents, at its device pixel ratio.
    QImage Snapshot();

private:
    std::unique_ptr<QQuickView> m_view;
    QObject *m_root = nullptr; // the panel, null when it did not load
};
