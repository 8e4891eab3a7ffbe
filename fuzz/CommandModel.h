#pragma once

#include <QMap>
#include <QString>
#include <QStringList>
#include <QXmlStreamReader>

/// What a command document holds, read the plain way: one walk over the XML reader's tokens, with the path as a text, a
/// map of the values, and a map of how often each path has been met.
class CommandModel {
public:
    explicit CommandModel(const QString& document);

    bool wellFormed = false;
    QString name;
    QMap<QString, QString> parameters;

    // How far the document goes.
    qsizetype deepest = 0; ///< elements inside one another, below the root
    qsizetype mostAttributes = 0; ///< of one element, declarations of namespaces included
    qsizetype declarations = 0; ///< of namespaces

private:
    void readNext();
    void enter(const QString& childPath);
    void readElement();
    void readParamValue();
    bool atParamValue() const { return reader.name() == QLatin1String("paramvalue"); }
    QString below(const QString& child) const { return path.isEmpty() ? child : path + u'/' + child; }

    QXmlStreamReader reader;
    QString path;
    QStringList outerPaths; ///< of each open element below the root: the path around it
    QMap<QString, int> occurrences;
    qsizetype depth = 0;
};
