#pragma once

#include <QColor>

/// The colours of the wall: dark and calm, so that the pictures and above all an alarm stand out.
namespace WallColors {

constexpr QColor Window {13, 17, 22};
constexpr QColor Panel {20, 26, 33};
constexpr QColor FreeTile {17, 22, 28};
constexpr QColor Line {38, 47, 58};
constexpr QColor Text {232, 238, 244};
constexpr QColor MutedText {136, 150, 165};
constexpr QColor Live {72, 199, 142};
constexpr QColor Playback {240, 180, 70};
constexpr QColor DetailView {96, 190, 255};
constexpr QColor Alarm {255, 45, 45};

} // namespace WallColors
