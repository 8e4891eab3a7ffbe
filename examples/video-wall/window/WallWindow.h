#pragma once

#include <QWidget>

class ActivityModel;
class QLabel;
class QListView;
class RecorderStrip;
class WallState;
struct ControlAccount;

/// The window: the splits, what is known of the recorders, what has happened, and how Orvane gets in.
class WallWindow : public QWidget {
    Q_OBJECT

public:
    /// \a state and \a activity must outlive the window.
    WallWindow(const WallState& state, ActivityModel& activity, QWidget* parent = nullptr);

    void showListening(quint16 port, const ControlAccount& account);
    /// Shows a banner that stays, with what to do below what is wrong.
    void showProblem(const QString& problem, const QString& remedy);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* makeHeader();
    QWidget* makeActivityPanel(ActivityModel& activity);
    void updateHeader();

    const WallState& state;
    QLabel* layoutLabel;
    QLabel* refreshLabel;
    QLabel* clockLabel;
    QLabel* banner;
    QLabel* statusLabel;
    QLabel* titleLabel;
    QListView* activityList;
    QWidget* activityPanel;
};
