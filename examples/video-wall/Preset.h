#pragma once

#include "Split.h"
#include "SplitLayout.h"

#include <QList>
#include <QString>

/// A stored view of the whole wall: a layout, and the live pictures in its splits in the order of the split ids.
struct Preset {
    QString name;
    SplitLayout layout;
    QList<CameraSource> sources;
};

/// The presets of the wall, in the order to offer them.
QList<Preset> storedPresets();
