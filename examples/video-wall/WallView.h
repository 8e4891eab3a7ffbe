#pragma once

#include <QWidget>

class WallState;

/// The splits: the largest area of 16:9 that has room.
class WallView : public QWidget {
    Q_OBJECT

public:
    /// \a state must outlive the widget.
    explicit WallView(const WallState& state, QWidget* parent = nullptr);

    QSize sizeHint() const override { return {960, 540}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return width * 9 / 16; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const WallState& state;
};
