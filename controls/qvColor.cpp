#include "controls/qvColor.h"

QColor QVToQColor(TQVColor color, const QPalette &palette)
{
    using namespace QVColors;
    if ((color & SystemColorFlag) == 0)
        return QColor(int(color & 0xFF), int((color >> 8) & 0xFF), int((color >> 16) & 0xFF));
    // Any value with the top bit set is a system colour, also one stored with a top byte
    // of 0xFF; the low byte is the index.
    switch (SystemColorFlag | (color & 0xFF)) {
    case clWindow: return palette.color(QPalette::Base);
    case clWindowText: return palette.color(QPalette::Text);
    case clHighlight: return palette.color(QPalette::Highlight);
    case clHighlightText: return palette.color(QPalette::HighlightedText);
    case clBtnFace: return palette.color(QPalette::Button);
    case clBtnShadow: return palette.color(QPalette::Dark);
    case clBtnText: return palette.color(QPalette::ButtonText);
    case clBtnHighlight: return palette.color(QPalette::Light);
    default: return palette.color(QPalette::Window);
    }
}

TQVColor QVFromQColor(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return TQVColor(rgb.red()) | TQVColor(rgb.green()) << 8 | TQVColor(rgb.blue()) << 16;
}
