#pragma once

#include <QStringView>

// What one document may cost. A client can send documents before it has logged in, so what a document makes the host
// hold, and for how long it keeps the host's thread, stays within a small multiple of the document's own length. Each
// bound is far from what the control system sends; a document is malformed from the point where it exceeds one.

/// Elements inside one another, below the root. The commands have two; the content of a "paramvalue" some more.
constexpr qsizetype MaximumDepth = 64;

/// Attributes of one element. A subsplit has six. The XML reader compares each attribute of an element with each other
/// one, which grows with the square of this.
constexpr qsizetype MaximumAttributes = 64;

/// Namespaces that one element declares. The control system declares one. The XML reader looks through all those that
/// the elements around have declared whenever it meets a name.
constexpr qsizetype MaximumNamespaceDeclarations = 8;

/// Elements inside one another whose namespaces are not counted: asking for them costs time at each element, the
/// commands go no deeper, and so few elements can declare few.
constexpr qsizetype DepthWithoutNamespaceCheck = 4;

/// Characters of a document type declaration, which the control system never sends. One that only names a document
/// type is much shorter. Each default attribute that it declares is looked at again for each element.
constexpr qsizetype MaximumDoctypeLength = 1024;

/// Characters by which one reference inside the document type declaration may grow. It takes three characters itself.
constexpr int DoctypeExpansionLimit = 16;

/// Bytes that the parameters may take for each character of the document. The most that an honest document needs is 13,
/// when it consists of nothing but empty elements of one letter; a list of subsplits needs 6.
constexpr qsizetype ParameterBytesPerCharacter = 24;

/// Bytes that the parameters may take in any case.
constexpr qsizetype SmallestParameterBudget = qsizetype(64) * 1024;

/// Bytes that the parameters may take in no case: their positions are kept in 32 bits.
constexpr qsizetype LargestParameterBudget = qsizetype(4) * 1024 * 1024 * 1024;

/// Characters that the text of a "paramvalue" may have for each character of the document: a quote becomes six.
constexpr qsizetype ParamValueCharactersPerCharacter = 6;

/// How much of \a document can be read: it ends before the first start tag with more than MaximumAttributes. This has
/// to be known beforehand, since the XML reader reports a start tag only after it has done all its work.
qsizetype readableLength(QStringView document);

/// Characters by which one entity reference of \a document may grow, so that all of them together at most double it.
int entityExpansionLimit(QStringView document);

/// What the parameters of \a document may take, in bytes.
qsizetype parameterBudget(QStringView document);
