#pragma once

#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringView>
#include <QXmlStreamReader>

/**
 * What a command document holds, by a second way of reading it: first all of its tokens, then a recursive walk over
 * them that follows the nesting of the elements.
 */
class CommandModel {
public:
    explicit CommandModel(const QString& document);

    bool wellFormed = false;
    /// Some bound of DocumentLimits.h is exceeded that is told from the elements alone.
    bool isTooMuch = false;
    /// The document may cost more than these elements show, or look as if it did.
    bool mayBeTooMuch = false;
    QString name;
    QMap<QString, QString> parameters;
    /// Every parameter that ever held a key, those included that a later one replaced.
    QSet<std::pair<QString, QString>> everStored;
    /// The names of elements and attributes below the root.
    QSet<QString> names;

private:
    struct Token {
        QXmlStreamReader::TokenType type;
        QString name;
        QString text;
        QXmlStreamAttributes attributes;
    };

    void readTokens(const QString& document);
    void checkLimits(const QXmlStreamReader& element, qsizetype depth);
    bool skipToRoot();
    bool at(QXmlStreamReader::TokenType type) const;
    bool atParamValue() const;

    void readContent(const QString& path);
    void readElement(const QString& parentPath);
    void readParamValue(const QString& path);
    void store(const QString& key, const QString& value);

    QList<Token> tokens;
    qsizetype position = 0;
    QMap<QString, int> occurrences;
};
