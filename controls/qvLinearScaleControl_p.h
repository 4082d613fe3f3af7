#pragma once

// Internal: the state the bar graph and the slider share; not installed.

#include "controls/qvLinearScaleControl.h"

class TQVLinearScaleControlPrivate
{
public:
    explicit TQVLinearScaleControlPrivate(const TQVLinearScaleControl::TQVLinearScaleRules &rules)
        : Rules(rules)
    {
    }

    TQVLinearScaleControl::TQVLinearScaleRules Rules;
    double Value = 0.0;
    double ValueMin = 0.0;
    double ValueMax = 100.0;
    double LabelingGap = 5.0;
    int LabelingDecimals = 1;
    int OffsetLower = 8;
    int OffsetUpper = 8;
    int LabelWidth = 0;
    int LabelHeight = 0;
    TQVRangeTable Ranges;
    TSiPrefixesId Prefix = sipNone;
    QString Suffix;
    QFont LabelingFont;
    TQVColor LabelingFontColor = QVColors::clBlack;
    TQVColor BevelColor1 = QVColors::clBtnHighlight;
    TQVColor BevelColor2 = QVColors::clBtnShadow;
    int Kind = 1;        // vertical
    int Orientation = 0; // labels on the first side
    int Style = 0;       // no labelling
    QVScale::TQVScaleLayout Layout = QVScale::slClassic;
    TQVLinearScaleDraw Draw;               // the classic labelling and its label cache
    TQVLinearScaleLayout AdaptiveLayout;   // of the last full paint in the adaptive layout
};
