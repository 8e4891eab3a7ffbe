#pragma once

#include <QByteArray>
#include <QString>

/**
 * Makes a document of about a given length from any bytes: a prolog, some elements to set the scene, then the same few
 * constructs again and again. Expensive documents have this form: the expensive part is repeated, and what makes it
 * expensive comes first.
 *
 * Knows everything that documents can contain: document type declarations with entities, parameter entities, attribute
 * lists, content models, notations; namespaces, attributes, nesting, captured elements, CDATA, comments, references.
 * The document is well-formed unless the bytes choose otherwise. The same bytes give the same document at any length.
 */
QString documentOf(const QByteArray& genes, qsizetype length);

/// Makes a document of which most parts are plain, so that the library reads it without QXmlStreamReader, or nearly
/// does.
QString plainDocumentOf(const QByteArray& genes);
