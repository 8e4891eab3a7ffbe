#pragma once

#include <QString>

/// \a text with its repetitions expanded: «3 text» is texttexttext, «/2 text» as many as fill half of \a size
/// characters. Each $ becomes the number of the repetition. Repetitions may be nested.
inline QString expanded(const QString& text, qsizetype size = 0, const QString& number = QStringLiteral("$"))
{
    QString all;
    qsizetype end = 0;
    for (qsizetype i = text.indexOf(u'«'); i >= 0; i = text.indexOf(u'«', end)) {
        all += text.mid(end, i - end).replace(u'$', number);
        const qsizetype begin = text.indexOf(u' ', i) + 1;
        const QString times = text.mid(i + 1, begin - i - 2);
        end = begin;
        for (int open = 1; open > 0; ++end)
            open += int(text.at(end) == u'«') - int(text.at(end) == u'»');
        const QString repeated = text.mid(begin, end - 1 - begin);
        const bool isShare = times.startsWith(u'/');
        const qsizetype count = isShare ? size / times.mid(1).toInt() : times.toInt();
        const qsizetype before = all.size();
        for (int done = 0; (isShare ? all.size() - before : done) < count; ++done)
            all += expanded(repeated, size, QString::number(done));
    }
    return all + text.mid(end).replace(u'$', number);
}
