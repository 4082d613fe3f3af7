#pragma once

#include <limits>

#include <QtCore/QTimer>

// The held highest value of an instrument: every value at or above it becomes the peak and
// restarts the hold; when the hold time passes without one, the owner releases it to the
// present value (a time of 0 holds until released). NaN while off.
class TQVPeakHold
{
public:
    // `release` is the owner's slot that the end of a hold calls.
    template<typename Owner>
    TQVPeakHold(Owner *owner, void (Owner::*release)())
    {
        m_timer.setSingleShot(true);
        QObject::connect(&m_timer, &QTimer::timeout, owner, release);
    }

    bool On() const { return m_on; }
    int Time() const { return m_time; }
    double Peak() const { return m_peak; }

    // Switching on starts the peak at `value`. False when unchanged.
    bool SetOn(bool on, double value)
    {
        if (on == m_on)
            return false;
        m_on = on;
        m_timer.stop();
        m_peak = on ? value : std::numeric_limits<double>::quiet_NaN();
        return true;
    }

    // Milliseconds, 0 to 3600000; false when refused or unchanged.
    bool SetTime(int milliseconds)
    {
        if (milliseconds < 0 || milliseconds > 3600000 || milliseconds == m_time)
            return false;
        m_time = milliseconds;
        if (milliseconds == 0)
            m_timer.stop();
        else if (m_timer.isActive())
            m_timer.start(milliseconds);
        return true;
    }

    // True when `value` moved the peak.
    bool Offer(double value)
    {
        if (!m_on || value < m_peak)
            return false;
        const bool moved = value != m_peak;
        m_peak = value;
        if (m_time > 0)
            m_timer.start(m_time);
        return moved;
    }

    // Ends the hold at `value`; true when the peak moved.
    bool Release(double value)
    {
        m_timer.stop();
        if (!m_on || value == m_peak)
            return false;
        m_peak = value;
        return true;
    }

private:
    bool m_on = false;
    int m_time = 1500;
    double m_peak = std::numeric_limits<double>::quiet_NaN();
    QTimer m_timer;
};
