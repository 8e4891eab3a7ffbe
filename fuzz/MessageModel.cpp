#include "MessageModel.h"

using namespace Qt::StringLiterals;

QStringList MessageModel::take(const QByteArray& read)
{
    const QString terminator = u"\r\n\r\n"_s;
    rest += QString::fromUtf8(read);
    QStringList messages;
    for (qsizetype end = rest.indexOf(terminator); end >= 0; end = rest.indexOf(terminator)) {
        messages += rest.left(end);
        rest = rest.mid(end + terminator.size());
    }
    return messages;
}
