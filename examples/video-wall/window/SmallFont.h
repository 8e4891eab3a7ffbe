#pragma once

#include <QFont>

#include <algorithm>

/// For what stands beside or below the main text; it stays readable.
inline QFont smaller(QFont font)
{
    font.setPixelSize(std::max(9, font.pixelSize() - 2));
    return font;
}
