#pragma once

#include <QWidget>

class ActivityModel;
class ClientModel;
class QAbstractItemDelegate;
class QAbstractItemModel;
class QLabel;
class QListView;
class RecorderStrip;
class WallState;
struct ControlAccount;

/// The window: the splits, the recorders, the connected clients, the activity, and how Orvane can connect.
class WallWindow : public QWidget {
    Q_OBJECT

public:
    /// \a state and the models must outlive the window.
    WallWindow(const WallState& state, ClientModel& clients, ActivityModel& activity, QWidget* parent = nullptr);

    void showListening(quint16 port, const ControlAccount& account);
    /// Shows a banner that stays, with the problem and below it the remedy.
    void showProblem(const QString& problem, const QString& remedy);

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    QWidget* makeHeader();
    QWidget* makeSidePanel(ClientModel& clients, ActivityModel& activity);
    QListView* makeList(QAbstractItemModel& model, QAbstractItemDelegate* delegate);
    void updateHeader();

    const WallState& state;
    QLabel* layoutLabel;
    QLabel* refreshLabel;
    QLabel* clockLabel;
    QLabel* banner;
    QLabel* statusLabel;
    QLabel* titleLabel;
    QLabel* clientCountLabel;
    QListView* clientList;
    QListView* activityList;
    QWidget* sidePanel;
};
