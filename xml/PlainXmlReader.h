#pragma once

#include "MarkupCursor.h"

#include <QStringView>
#include <QVarLengthArray>

namespace OrvaneInterface {

/**
 * Reads the tokens of plain documents, in place and without a copy; for all others there is QXmlStreamReader, which is
 * what says what a document means.
 *
 * Plain is what nearly all clients send: perhaps an XML declaration, elements, attributes and text; names in ASCII, a
 * prefix for the root alone, no references, no carriage return. Whatever it does not know for certain makes it decline:
 * then the document is to be read anew, by the other one. It may decline what is plain, but never reads what is not,
 * and never reads anything differently. So an error of the document is never its business.
 *
 * It has the operations of QXmlStreamReader that the walk through a document needs. Takes time in proportion to the
 * length, and no memory but for open elements. Thread: any one at a time.
 */
class PlainXmlReader {
    Q_DISABLE_COPY_MOVE(PlainXmlReader)

public:
    using Attribute = MarkupCursor::Attribute;
    using Attributes = QVarLengthArray<Attribute, 8>;

    /// \a document must outlive this object.
    explicit PlainXmlReader(QStringView document);

    void readNext();
    bool atEnd() const { return token == Token::End || token == Token::Declined; }
    /// Whether the document is to be read by another reader; what has been read of it says nothing then.
    bool hasDeclined() const { return token == Token::Declined; }
    /// Declines by the wish of who reads.
    void decline() { token = Token::Declined; }

    bool isStartElement() const { return token == Token::StartElement; }
    bool isEndElement() const { return token == Token::EndElement; }
    bool isCharacters() const { return token == Token::Characters; }

    /// Of a start tag: without the prefix.
    QStringView name() const { return localName; }
    QStringView text() const { return characters; }
    /// Of a start tag.
    const Attributes& attributes() const { return attributeList; }

private:
    enum class Token : quint8 { None, StartElement, EndElement, Characters, End, Declined };

    Token readToken();
    Token readStartTag();
    Token readEndTag();
    Token readText();
    bool readDeclaration();
    bool isNewAttribute(QStringView name) const;
    bool isPlainRoot(QStringView rootName) const;

    MarkupCursor cursor;
    Token token = Token::None;
    bool isEmptyElement = false; ///< its end tag has not been reported yet
    bool isRootRead = false;
    QStringView localName;
    QStringView characters;
    Attributes attributeList;
    QVarLengthArray<QStringView, 16> openElements; ///< their qualified names
};

} // namespace OrvaneInterface
