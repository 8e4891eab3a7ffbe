#include "DocumentBlocks.h"

#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

QStringList documentLines(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n');
}

QList<DocumentBlock> documentBlocks(const QString& path, const QString& language)
{
    const QString fence = u"```"_s;
    const QStringList lines = documentLines(path);
    QList<DocumentBlock> blocks;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        if (lines.at(i).trimmed() != fence + language)
            continue;
        const QString indentation = lines.at(i).section(fence, 0, 0);
        const qsizetype end = lines.indexOf(indentation + fence, i);
        const QString place = u"%1:%2"_s.arg(QFileInfo(path).fileName()).arg(i + 2);
        blocks.append({place, lines.mid(i + 1, end - i - 1)});
    }
    return blocks;
}
