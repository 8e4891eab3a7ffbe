#pragma once

#include "ParameterTree.h"

#include <QAnyStringView>
#include <QLatin1String>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QStringView>

#include <string>

/**
 * One received command document, as a command name and a flat map of parameters.
 *
 * Knows no commands; one rule serves every document. The root element's local name is the command. Every element below
 * it gives a key, the element names from the root's child down joined by "/", and every attribute a key of its
 * element's path, "/" and its name. An element whose path has been met n times before has n appended to its own
 * segment: "subsplits/subsplit", "subsplits/subsplit1", ... The content of an element "paramvalue" is stored as XML
 * text under that key. Namespaces are ignored, keys are case-sensitive, values are kept as they are.
 *
 * Strange but relied upon:
 * - an element's text is stored only when it comes right after the start tag; in a container that is written with line
 *   breaks that is the white space before the first child;
 * - a child without attributes right after its parent's start tag is not counted, so that in a list without white space
 *   the second child overwrites the first.
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
     * \return true for a well-formed document. After false the name and the parameters that came before the first error
     *         can be read all the same, unless the document was refused.
     */
    bool parseCommand(const QString& text);

    /**
     * Why the document was refused, in words for a person; null when it was not.
     *
     * A document is refused when something in it is too much, by what measureDocument() says, before its first error.
     * It has no parameters then, and its name only where that came before.
     */
    QLatin1String refusalReason() const { return refusal; }

    /// The command; empty when there was an error before the root element.
    QString commandName() const { return rootName; }
    /// The text given to parseCommand(), unchanged.
    QString documentText() const { return document; }

    bool hasParameter(QAnyStringView key) const { return find(key).has_value(); }
    /// The value, which may be empty, or \a defaultValue when there is none.
    QString stringParameter(QAnyStringView key, const QString& defaultValue = QString()) const;
    /// The value in UTF-8, as hosts take it; empty when there is none.
    std::string utf8Parameter(QAnyStringView key) const { return stringParameter(key).toStdString(); }
    /// The value as decimal, or hexadecimal after "0x"; 0 when it is no number, \a defaultValue when there is none.
    int intParameter(QAnyStringView key, int defaultValue) const;
    /// Adds the parameter, or replaces its value.
    void setParameter(QAnyStringView key, const QString& value);

    /**
     * The long acceptance of the command; made in Replies.cpp, as all acknowledgements.
     *
     * \param remark left out when empty
     * \param echoNames the parameters to echo, those that are there, in this order; "commandtag" always comes last
     * \param namespaceUri the namespace of the reply
     */
    QString acceptedReply(const QString& remark, const QStringList& echoNames, const QString& namespaceUri) const;

    /// All parameters by their keys.
    QMap<QString, QString> allParameters() const { return parameters.values(); }
    /// The first \a most of them in the order of the document, with no more than \a longest characters of each value.
    QMap<QString, QString> firstParameters(qsizetype most, qsizetype longest) const
    {
        return parameters.values(most, longest);
    }

private:
    bool readPlainDocument();
    bool readDocument();
    std::optional<OrvaneInterface::ParameterTree::Node> find(QAnyStringView key) const;

    QString rootName;
    QString document;
    OrvaneInterface::ParameterTree parameters;
    QLatin1String refusal;
};
