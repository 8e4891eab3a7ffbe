#include "ClientDelegate.h"

#include "ClientModel.h"
#include "TextLine.h"
#include "WallColors.h"

#include <QFontMetrics>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

constexpr int Margin = 7;

} // namespace

QSize ClientDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& /*index*/) const
{
    const int lines = QFontMetrics(option.font).height() + QFontMetrics(smaller(option.font)).height();
    return {0, lines + Margin};
}

void ClientDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const auto text = [&index](ClientModel::Role role) { return index.data(role).toString(); };
    const QFont small = smaller(option.font);
    painter->save();
    QRectF line = option.rect.adjusted(Margin, Margin, -Margin, 0);
    line.setHeight(QFontMetrics(option.font).height());
    const QRectF name = paintLineRight(*painter, line, text(ClientModel::SinceRole), small, WallColors::MutedText);
    paintLine(*painter, name, text(ClientModel::AccountRole), headingOf(option.font), WallColors::Text);

    line.setTop(line.bottom());
    line.setHeight(QFontMetrics(small).height());
    const bool isEncrypted = index.data(ClientModel::EncryptedRole).toBool();
    const QRectF address = paintLineRight(*painter, line, isEncrypted ? u"TLS"_s : QString(), small, WallColors::Live);
    paintLine(*painter, address, text(ClientModel::AddressRole), small, WallColors::MutedText.lighter(115));
    painter->restore();
}

#include "moc_ClientDelegate.cpp"
