#pragma once

#include <QByteArray>
#include <QString>

/**
 * Makes a document of about a given length out of any bytes: a prolog, some elements to set the scene, then the same
 * few constructs again and again. That is the form of a document that costs much: what is dear is repeated, and what
 * makes it dear stands before it.
 *
 * Knows all that documents are made of: document type declarations with entities, parameter entities, attribute lists,
 * content models, notations; namespaces, attributes, nesting, captured elements, CDATA, comments, references. The
 * document is well-formed unless the bytes want it otherwise. The same bytes give the same document at any length.
 */
QString documentOf(const QByteArray& genes, qsizetype length);
