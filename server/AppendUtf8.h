#pragma once

#include <QByteArrayView>
#include <QString>
#include <QStringDecoder>

namespace OrvaneInterface {

/// Does what `text += QString::fromUtf8(bytes)` does, without the text in between.
inline void appendUtf8(QString& text, QByteArrayView bytes)
{
    if (text.isEmpty()) { // as nearly every time: one message in one read
        text = QString::fromUtf8(bytes);
        return;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const qsizetype length = text.size();
    text.resize(length + decoder.requiredSpace(bytes.size()));
    const QChar* const end = decoder.appendToBuffer(text.data() + length, bytes);
    text.truncate(end - text.constData());
}

} // namespace OrvaneInterface
