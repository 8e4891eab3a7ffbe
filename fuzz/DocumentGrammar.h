#pragma once

#include <QByteArray>
#include <QStringList>

/**
 * Makes a document of about a given length out of any bytes: a prolog, some elements to set the scene, then the same
 * few constructs again and again. That is the form of a document that costs much: what is dear is repeated, and what
 * makes it dear stands before it.
 *
 * Knows all that documents are made of: document type declarations with entities, parameter entities, attribute lists,
 * content models, notations; namespaces, attributes, nesting, captured elements, CDATA, comments, references. The
 * document is well-formed unless the bytes want it otherwise. The same bytes give the same document at any length.
 */
class DocumentGrammar {
public:
    DocumentGrammar(QByteArray genes, qsizetype length);

    QString document() const { return text; }

private:
    qsizetype choose(qsizetype options);
    qsizetype chooseCount();
    void expand(QChar rule);
    void repeat(QChar rule, qsizetype times, bool fills);
    void writeSpecial(QChar sign);

    QByteArray genes;
    qsizetype position = 0;
    qsizetype length;
    QString text;
    QStringList open; ///< elements inside the root
    qsizetype nameBegin = 0; ///< of the next one
    qsizetype lastCount = 0;
    qsizetype index = 0; ///< of the repetition
    qsizetype prefixes = 0; ///< that the root element declares
    qsizetype numbers = 0; ///< for names that must differ
    qsizetype changes = 0; ///< of what makes the same genes write something else
};
