#pragma once

#include <QString>

/// \a text with its repetitions expanded: «3 text» is texttexttext, «/2 text» as many as fill half of \a size
/// characters. Each $ becomes the number of the repetition. Repetitions may be nested.
inline QString expanded(const QString& text, qsizetype size = 0, const QString& number = QStringLiteral("$"))
{
    QString all;
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (text.at(i) != u'«') {
            all += text.at(i) == u'$' ? number : QString(text.at(i));
            continue;
        }
        const qsizetype begin = text.indexOf(u' ', i) + 1;
        const QString times = text.mid(i + 1, begin - i - 2);
        i = begin;
        for (int open = 1; (open += int(text.at(i) == u'«') - int(text.at(i) == u'»')) > 0; ++i) { }
        const bool isShare = times.startsWith(u'/');
        const qsizetype count = isShare ? size / times.mid(1).toInt() : times.toInt();
        const qsizetype before = all.size();
        for (int done = 0; (isShare ? all.size() - before : done) < count; ++done)
            all += expanded(text.mid(begin, i - begin), size, QString::number(done));
    }
    return all;
}
