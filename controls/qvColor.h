#pragma once

#include <QtGui/QColor>
#include <QtGui/QPalette>

#include "framework/qvGlobal.h"

/// \brief A stored colour value: 0x00BBGGRR for a plain colour, or a system colour
/// (high bit set, low byte the system colour index) resolved through the widget's palette
/// when painting, so that controls follow the desktop theme.
using TQVColor = quint32;

namespace QVColors {
inline constexpr TQVColor clBlack = 0x000000;
inline constexpr TQVColor clMaroon = 0x000080;
inline constexpr TQVColor clGreen = 0x008000;
inline constexpr TQVColor clOlive = 0x008080;
inline constexpr TQVColor clNavy = 0x800000;
inline constexpr TQVColor clPurple = 0x800080;
inline constexpr TQVColor clTeal = 0x808000;
inline constexpr TQVColor clGray = 0x808080;
inline constexpr TQVColor clSilver = 0xC0C0C0;
inline constexpr TQVColor clRed = 0x0000FF;
inline constexpr TQVColor clLime = 0x00FF00;
inline constexpr TQVColor clYellow = 0x00FFFF;
inline constexpr TQVColor clBlue = 0xFF0000;
inline constexpr TQVColor clFuchsia = 0xFF00FF;
inline constexpr TQVColor clAqua = 0xFFFF00;
inline constexpr TQVColor clWhite = 0xFFFFFF;

inline constexpr TQVColor SystemColorFlag = 0x80000000u;
inline constexpr TQVColor clWindow = SystemColorFlag | 5;
inline constexpr TQVColor clWindowText = SystemColorFlag | 8;
inline constexpr TQVColor clHighlight = SystemColorFlag | 13;
inline constexpr TQVColor clHighlightText = SystemColorFlag | 14;
inline constexpr TQVColor clBtnFace = SystemColorFlag | 15;
inline constexpr TQVColor clBtnShadow = SystemColorFlag | 16;
inline constexpr TQVColor clBtnText = SystemColorFlag | 18;
inline constexpr TQVColor clBtnHighlight = SystemColorFlag | 20;
} // namespace QVColors

/// The colour to paint with: plain colours as they are, system colours from `palette`.
QV_WIDGETS_EXPORT QColor QVToQColor(TQVColor color, const QPalette &palette);
/// The plain colour value of `color` (alpha dropped).
QV_WIDGETS_EXPORT TQVColor QVFromQColor(const QColor &color);
