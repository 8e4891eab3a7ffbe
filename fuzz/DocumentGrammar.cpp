#include "DocumentGrammar.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

DocumentGrammar::DocumentGrammar(QByteArray genes, qsizetype length)
    : genes(std::move(genes))
    , length(length)
{
    writeProlog();
    prefixes = chooseCount();
    text += u"<r"_s;
    for (qsizetype number = 0; number < prefixes; ++number)
        text += u" xmlns:p%1='%2%1'"_s.arg(
            QString::number(number), QString(chooseSize() / std::max<qsizetype>(1, prefixes), u'u'));
    text += u'>';
    open.append(u"r"_s);

    for (qsizetype left = choose(6); left > 0; --left) {
        const qsizetype begin = position;
        for (qsizetype times = chooseCount(); times > 0 && text.size() < length; --times) {
            position = begin + 1;
            writeConstruct();
        }
    }
    const qsizetype begin = position;
    const qsizetype constructs = 1 + choose(4);
    while (text.size() < length) {
        const qsizetype before = text.size();
        position = begin + 1;
        for (qsizetype left = constructs; left > 0; --left)
            writeConstruct();
        if (text.size() == before)
            text += u'x';
    }
    if (choose(8) == 7)
        return;
    while (!open.isEmpty())
        writeEndTag();
}

/// A number below \a options; 0 when there are no bytes left.
qsizetype DocumentGrammar::choose(qsizetype options)
{
    return position < genes.size() ? static_cast<uchar>(genes[position++]) % options : 0;
}

qsizetype DocumentGrammar::chooseSize()
{
    const std::array sizes {qsizetype(0), qsizetype(1), qsizetype(2), qsizetype(4), qsizetype(16), qsizetype(60),
        qsizetype(250), qsizetype(900), length / 64, length / 16, length / 4, length / 2};
    return sizes.at(static_cast<size_t>(choose(sizes.size())));
}

qsizetype DocumentGrammar::chooseCount()
{
    const std::array counts {qsizetype(0), qsizetype(1), qsizetype(1), qsizetype(2), qsizetype(3), qsizetype(10),
        qsizetype(30), qsizetype(100), qsizetype(1000), length / 256, length / 64, length / 16};
    return counts.at(static_cast<size_t>(choose(counts.size())));
}

void DocumentGrammar::writeProlog()
{
    if (choose(4) == 3)
        text += u"<?xml version='1.0' encoding='UTF-8'?>"_s;
    for (qsizetype left = choose(3); left > 0; --left)
        writeDoctype();
}

void DocumentGrammar::writeDoctype()
{
    text += u"<!DOCTYPE r ["_s;
    for (qsizetype left = choose(8); left > 0; --left) {
        const qsizetype begin = position;
        for (qsizetype times = std::max<qsizetype>(1, chooseCount()); times > 0 && text.size() < length; --times) {
            position = begin + 1;
            writeDeclaration();
        }
    }
    text += u"]>"_s;
}

void DocumentGrammar::writeDeclaration()
{
    switch (choose(9)) {
    case 0:
    case 1:
        writeEntity(false);
        break;
    case 2:
        writeEntity(true);
        break;
    case 3:
        text += u"%f%1;"_s.arg(choose(4));
        break;
    case 4:
        writeAttributeList();
        break;
    case 5: {
        const qsizetype depth = chooseSize() / 2;
        text += u"<!ELEMENT a "_s + QString(depth + 1, u'(') + u'b' + QString(depth + 1, u')') + u'>';
        break;
    }
    case 6:
        text += u"<!NOTATION n%1 PUBLIC 'x'>"_s.arg(names++);
        break;
    case 7:
        text += u"<!--"_s + QString(chooseSize(), u'%') + u"-->"_s;
        break;
    default:
        text += u"<?pi "_s + QString(chooseSize(), u'&') + u"?>"_s;
    }
}

void DocumentGrammar::writeEntity(bool isParameter)
{
    text += isParameter ? u"<!ENTITY % f%1 \""_s.arg(choose(4)) : u"<!ENTITY e%1 \""_s.arg(choose(4));
    for (qsizetype left = choose(4); left > 0; --left) {
        if (choose(2) == 0)
            text += characters().remove(u'"');
        else
            text += (isParameter ? u"%f%1;"_s : u"&e%1;"_s).arg(choose(4));
    }
    text += u"\">"_s;
}

void DocumentGrammar::writeAttributeList()
{
    text += choose(2) == 0 ? u"<!ATTLIST a"_s : u"<!ATTLIST paramvalue"_s;
    const qsizetype kind = choose(3);
    const QString value = choose(2) == 0 ? QString(choose(10), u'\'') : QString();
    for (qsizetype left = chooseCount(); left > 0; --left)
        text += (kind == 0  ? u" xmlns:d%1 CDATA \"%2\""_s
                : kind == 1 ? u" p0:d%1 CDATA \"%2\""_s
                            : u" d%1 ID \"%2\""_s)
                    .arg(QString::number(names++), value);
    text += u'>';
}

void DocumentGrammar::writeConstruct()
{
    switch (choose(16)) {
    case 0:
        text += characters().replace(u'<', u'x').replace(u'&', u'x');
        break;
    case 1:
        text += u"<![CDATA["_s + characters().remove(u']') + u"]]>"_s;
        break;
    case 2:
        text += u"<!--"_s + characters().remove(u'-') + u"-->"_s;
        break;
    case 3:
        text += u"<?pi "_s + characters().remove(u'?') + u"?>"_s;
        break;
    case 4:
        writeReference();
        break;
    case 5:
        writeStartTag(false);
        break;
    case 6:
        if (open.size() > 1)
            writeEndTag();
        break;
    case 7:
        writeDoctype();
        break;
    default:
        writeStartTag(true);
    }
}

void DocumentGrammar::writeReference()
{
    const std::array references {u"&amp;"_s, u"&#38;"_s, u"&lt;"_s, u"&e0;"_s, u"&e1;"_s, u"&e2;"_s, u"&e3;"_s};
    text += references.at(static_cast<size_t>(choose(references.size())));
}

QString DocumentGrammar::prefix()
{
    return prefixes > 0 && choose(2) == 1 ? u"p%1:"_s.arg(choose(256) % prefixes) : QString();
}

void DocumentGrammar::writeStartTag(bool isEmpty)
{
    QString name = prefix();
    switch (choose(5)) {
    case 0:
        name += QString(1 + chooseSize(), u'n');
        break;
    case 1:
        name += u"paramvalue"_s;
        break;
    case 2:
        name += u"n%1"_s.arg(names++);
        break;
    default:
        name += u'a';
    }
    text += u'<' + name;
    writeAttributes();
    text += isEmpty ? u"/>"_s : u">"_s;
    if (!isEmpty)
        open.append(name);
}

void DocumentGrammar::writeAttributes()
{
    for (qsizetype kinds = choose(3); kinds > 0; --kinds) {
        const qsizetype kind = choose(4);
        const qsizetype count = chooseCount();
        const qsizetype valueBegin = position;
        for (qsizetype number = 0; number < count && text.size() < length; ++number) {
            position = valueBegin;
            if (kind == 0)
                text += u" xmlns:q%1=\""_s.arg(names++);
            else if (kind == 1 && prefixes > 0)
                text += number < prefixes ? u" p%1:same%2=\""_s.arg(number).arg(kinds) : u" s%1=\""_s.arg(names++);
            else
                text += u' ' + prefix() + u"b%1=\""_s.arg(names++);
            text += characters().remove(u'"').replace(u'<', u'x').replace(u'&', u'x');
            if (choose(3) == 2)
                writeReference();
            text += u'"';
        }
    }
}

void DocumentGrammar::writeEndTag()
{
    text += u"</"_s + open.takeLast() + u'>';
}

QString DocumentGrammar::characters()
{
    const std::array kinds {
        u"x"_s, u"\""_s, u"'"_s, u"<"_s, u"&"_s, u">"_s, u"]"_s, u"\r"_s, u"\n"_s, u"\u00fc"_s, u"\U0001F600"_s};
    const QString& kind = kinds.at(static_cast<size_t>(choose(kinds.size())));
    return kind.repeated(chooseSize());
}
