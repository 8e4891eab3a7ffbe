#include "WallWindow.h"

#include "Activity.h"
#include "ClientDelegate.h"
#include "ClientModel.h"
#include "ControlServer.h"
#include "RecorderStrip.h"
#include "WallColors.h"
#include "WallState.h"
#include "WallView.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QPalette>
#include <QResizeEvent>
#include <QTimer>
#include <QVBoxLayout>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds HeaderInterval {200};

QPalette wallPalette()
{
    QPalette palette;
    palette.setColor(QPalette::Window, WallColors::Window);
    palette.setColor(QPalette::Base, WallColors::Panel);
    palette.setColor(QPalette::WindowText, WallColors::Text);
    palette.setColor(QPalette::Text, WallColors::Text);
    palette.setColor(QPalette::Button, WallColors::Panel);
    palette.setColor(QPalette::ButtonText, WallColors::Text);
    palette.setColor(QPalette::Mid, WallColors::Line);
    palette.setColor(QPalette::Dark, WallColors::Line);
    palette.setColor(QPalette::Light, WallColors::Line);
    palette.setColor(QPalette::Highlight, WallColors::Line);
    return palette;
}

QLabel* makeLabel(const QColor& color, QWidget* parent)
{
    auto* label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText); // names come from clients
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, color);
    label->setPalette(palette);
    return label;
}

} // namespace

WallWindow::WallWindow(const WallState& state, ClientModel& clients, ActivityModel& activity, QWidget* parent)
    : QWidget(parent)
    , state(state)
{
    setWindowTitle(u"Video wall"_s);
    setPalette(wallPalette());
    setAutoFillBackground(true);

    banner = new QLabel(this);
    banner->setStyleSheet(u"background: #7a1f22; color: white; padding: 12px; border-radius: 5px;"_s);
    banner->setWordWrap(true);
    banner->hide();
    statusLabel = makeLabel(WallColors::MutedText, this);
    statusLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    statusLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred); // no user name may widen the window

    auto* left = new QVBoxLayout;
    left->setSpacing(12);
    left->addWidget(new WallView(state, this), 1);
    left->addWidget(new RecorderStrip(state, this));
    auto* middle = new QHBoxLayout;
    middle->setSpacing(14);
    middle->addLayout(left, 1);
    middle->addWidget(makeSidePanel(clients, activity));
    auto* all = new QVBoxLayout(this);
    all->setContentsMargins(14, 10, 14, 8);
    all->setSpacing(10);
    all->addWidget(makeHeader());
    all->addWidget(banner);
    all->addLayout(middle, 1);
    all->addWidget(statusLabel);

    connect(&state, &WallState::changed, this, &WallWindow::updateHeader);
    auto* clock = new QTimer(this);
    connect(clock, &QTimer::timeout, this, &WallWindow::updateHeader);
    clock->start(HeaderInterval);
    updateHeader();
}

QWidget* WallWindow::makeHeader()
{
    auto* header = new QWidget(this);
    titleLabel = makeLabel(WallColors::Text, header);
    titleLabel->setText(u"Video wall"_s);
    layoutLabel = makeLabel(WallColors::MutedText, header);
    refreshLabel = makeLabel(WallColors::DetailView, header);
    clockLabel = makeLabel(WallColors::Text, header);
    auto* row = new QHBoxLayout(header);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(16);
    row->addWidget(titleLabel);
    row->addWidget(layoutLabel);
    row->addStretch(1);
    row->addWidget(refreshLabel);
    row->addWidget(clockLabel);
    return header;
}

QWidget* WallWindow::makeSidePanel(ClientModel& clients, ActivityModel& activity)
{
    sidePanel = new QWidget(this);
    clientCountLabel = makeLabel(WallColors::MutedText, sidePanel);
    clientList = makeList(clients, new ClientDelegate(sidePanel));
    const auto updateCount = [this, &clients] {
        const int count = clients.rowCount();
        clientCountLabel->setText(u"%1 client%2"_s.arg(count).arg(count == 1 ? QString() : u"s"_s));
    };
    connect(&clients, &QAbstractItemModel::modelReset, this, updateCount);
    updateCount();
    auto* heading = makeLabel(WallColors::MutedText, sidePanel);
    heading->setText(u"Activity"_s);
    activityList = makeList(activity, new ActivityDelegate(sidePanel));
    connect(&activity, &QAbstractItemModel::rowsInserted, activityList, &QAbstractItemView::scrollToBottom);
    auto* column = new QVBoxLayout(sidePanel);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(clientCountLabel);
    column->addWidget(clientList, 1); // constant height: nothing moves when clients come and go
    column->addWidget(heading);
    column->addWidget(activityList, 3);
    return sidePanel;
}

QListView* WallWindow::makeList(QAbstractItemModel& model, QAbstractItemDelegate* delegate)
{
    auto* list = new QListView(sidePanel);
    list->setModel(&model);
    list->setItemDelegate(delegate);
    list->setResizeMode(QListView::Adjust);
    list->setSelectionMode(QAbstractItemView::NoSelection);
    list->setFocusPolicy(Qt::NoFocus);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    list->setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    list->setStyleSheet(u"QListView { background: #141a21; border: 1px solid #262f3a; border-radius: 5px; }"
                        "QScrollBar:vertical { background: transparent; width: 8px; margin: 2px; }"
                        "QScrollBar::handle:vertical { background: #33404e; border-radius: 2px; min-height: 24px; }"
                        "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
                        "QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }"_s);
    return list;
}

void WallWindow::updateHeader()
{
    const int count = state.layout().splitCount();
    layoutLabel->setText(
        u"Layout %1 \u00b7 %2 split%3"_s.arg(state.layout().name()).arg(count).arg(count == 1 ? QString() : u"s"_s));
    refreshLabel->setText(state.isRefreshing() ? u"\u27f3  Refresh running"_s : QString());
    clockLabel->setText(QDateTime::currentDateTimeUtc().toString(u"yyyy-MM-dd  HH:mm:ss 'UTC'"_s));
    if (state.isRefreshing())
        findChild<RecorderStrip*>()->update();
}

void WallWindow::showListening(quint16 port, const ControlAccount& account)
{
    const QString password = account.passwordMadeUp ? u"Password for this run: %1"_s.arg(account.password)
                                                    : u"Password from ORVANE_PASSWORD"_s;
    const QString user = fontMetrics().elidedText(account.user.simplified(), Qt::ElideRight, width() / 3);
    statusLabel->setText(u"Listening on port %1      User: %2      %3"_s.arg(port).arg(user, password));
}

void WallWindow::showProblem(const QString& problem, const QString& remedy)
{
    banner->setText(u"<b>%1</b><br>%2"_s.arg(problem.toHtmlEscaped(), remedy.toHtmlEscaped()));
    banner->show();
    statusLabel->setText(u"Not listening: Orvane cannot reach this wall"_s);
}

void WallWindow::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    QFont base(u"DejaVu Sans"_s);
    base.setPixelSize(std::clamp(std::min(event->size().height() / 55, event->size().width() / 96), 10, 22));
    setFont(base);
    for (QListView* list : {clientList, activityList})
        list->setFont(base); // a style sheet blocks the window's font
    banner->setFont(base);
    QFont title = base;
    title.setPixelSize(base.pixelSize() * 3 / 2);
    title.setBold(true);
    titleLabel->setFont(title);
    sidePanel->setFixedWidth(std::clamp(event->size().width() / 5, 200, 520));
}

#include "moc_WallWindow.cpp"
