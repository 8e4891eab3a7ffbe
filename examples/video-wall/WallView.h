#pragma once

#include <QWidget>

class WallState;

/// The splits, in the largest 16:9 area that fits.
class WallView : public QWidget {
    Q_OBJECT

public:
    /// \a state must outlive the widget.
    explicit WallView(const WallState& state, QWidget* parent = nullptr);

    QSize sizeHint() const override { return {960, 540}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    const WallState& state;
};
