#pragma once

#include <QFile>
#include <QMap>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

/**
 * Makes random texts by the rules of a file, one per line: name=alternative|alternative. In an alternative, {name} is a
 * text of that rule, {5*name} up to 5 of them, $1 the first word after the name of the rule, and ␍ that control
 * character. The same seed makes the same texts.
 */
class RandomText {
public:
    RandomText(const QString& path, quint32 seed)
        : random(seed)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            qFatal("Cannot read %s", qPrintable(path));
        const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        for (const QString& line : lines)
            rules[line.section(u'=', 0, 0)] += line.section(u'=', 1).split(u'|');
    }

    int upTo(int highest) { return random.bounded(highest + 1); }
    bool isOneIn(int count) { return upTo(count - 1) == 0; }
    void setRule(const QString& name, const QString& text) { rules[name] = QStringList(text); }

    /// \a rule: its name and its words
    QString made(const QString& rule)
    {
        const QStringList words = rule.split(u' ');
        const QStringList alternatives = rules.value(words.first());
        QString rest = alternatives.at(upTo(static_cast<int>(alternatives.size()) - 1));
        for (qsizetype word = 1; word < words.size(); ++word)
            rest.replace(u'$' + QString::number(word), words.at(word));
        QString text;
        for (qsizetype begin = 0; (begin = rest.indexOf(u'{')) >= 0; rest.remove(0, rest.indexOf(u'}') + 1)) {
            text += rest.first(begin);
            const QString inner = rest.mid(begin + 1, rest.indexOf(u'}') - begin - 1);
            for (int times = inner.contains(u'*') ? upTo(inner.section(u'*', 0, 0).toInt()) : 1; times > 0; --times)
                text += made(inner.section(u'*', -1));
        }
        text += rest;
        for (const char16_t control : {u'\0', u'\t', u'\n', u'\r'})
            text.replace(QChar(u'␀' + control), QChar(control));
        return text;
    }

private:
    QRandomGenerator random;
    QMap<QString, QStringList> rules;
};
