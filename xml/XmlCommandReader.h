#pragma once

#include "ParameterTree.h"

#include <QLatin1String>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <string>

/**
 * One received command document, as a command name and a flat map of parameters.
 *
 * Knows no commands; one rule serves every document. The root element's local name is the command. The key of an
 * element below it is its path: the element names from the root's child down, joined by "/". The key of an attribute is
 * its element's path, "/" and its name. An element whose path has occurred n times before gets n appended to its own
 * segment: "subsplits/subsplit", "subsplits/subsplit1", ... The content of an element "paramvalue" is stored as XML
 * text under that key. Namespaces are ignored, keys are case-sensitive, values are stored unchanged.
 *
 * Strange but relied upon:
 * - an element's text is stored only if it directly follows the start tag; in a container with line breaks, this is the
 *   white space before the first child;
 * - a child without attributes directly after its parent's start tag is not counted; in a list without white space, the
 *   second child therefore overwrites the first.
 *
 * Order of calls: construct, parseCommand() once, any reads and setParameter(), acceptedReply(). Thread: any one.
 */
class XmlCommandReader {
    Q_DISABLE_COPY_MOVE(XmlCommandReader)

public:
    XmlCommandReader() = default;
    virtual ~XmlCommandReader() = default;

    /**
     * Reads a document.
     *
     * \return true if the document is well-formed. If not, the name and the parameters before the first error can still
     *         be read, unless the document was refused.
     */
    bool parseCommand(const QString& text);

    /**
     * Human-readable reason why the document was refused; null if it was not.
     *
     * A document is refused if measureDocument() finds an excess before its first syntax error. It then has no
     * parameters, and a name only if that precedes the excess.
     */
    QLatin1String refusalReason() const { return refusal; }

    /// The command; empty if an error precedes the root element.
    QString commandName() const { return rootName; }
    /// The text given to parseCommand(), unchanged.
    QString documentText() const { return document; }

    bool hasParameter(QStringView key) const { return parameters.find(key).has_value(); }
    /// The value, which may be empty, or \a defaultValue if there is none.
    QString stringParameter(QStringView key, const QString& defaultValue = QString()) const;
    /// The value in UTF-8, as hosts take it; empty if there is none.
    std::string utf8Parameter(QStringView key) const { return stringParameter(key).toStdString(); }
    /// The value as decimal, or hexadecimal after "0x"; 0 if it is not a number, \a defaultValue if there is none.
    int intParameter(QStringView key, int defaultValue) const;
    /// Adds the parameter, or replaces its value.
    void setParameter(QStringView key, const QString& value);

    /**
     * The long acceptance of the command; defined in Replies.cpp, like all acknowledgements.
     *
     * \param remark omitted if empty
     * \param echoNames the parameters to echo in this order, if present; "commandtag" is always echoed after them
     * \param namespaceUri the namespace of the reply
     */
    QString acceptedReply(const QString& remark, const QStringList& echoNames, const QString& namespaceUri) const;

    /// All parameters by key.
    QMap<QString, QString> allParameters() const { return parameters.values(); }
    /// The first \a most of them in the order of the document, each value cut to \a longest characters.
    QMap<QString, QString> firstParameters(qsizetype most, qsizetype longest) const
    {
        return parameters.values(most, longest);
    }

private:
    bool readPlainDocument();
    bool readDocument();

    QString rootName;
    QString document;
    OrvaneInterface::ParameterTree parameters;
    QLatin1String refusal;
};
