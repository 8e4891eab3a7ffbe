#pragma once

#include <QWidget>

class WallState;

/// The recorders in a row, and the progress of a refresh above them.
class RecorderStrip : public QWidget {
    Q_OBJECT

public:
    /// \a state must outlive the widget.
    explicit RecorderStrip(const WallState& state, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void paintRefresh(QPainter& painter, const QRectF& line) const;
    void paintRecorder(QPainter& painter, const QRectF& card, int index) const;

    const WallState& state;
};
