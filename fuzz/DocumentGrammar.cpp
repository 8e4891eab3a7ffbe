#include "DocumentGrammar.h"

#include <QMap>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// A rule in each line, or the rest of one: its alternatives, of which a gene chooses one.
//   $x  the rule x          *x  the rule x a chosen number of times, with the same genes each time
//   ~x  as many times as the last *                     +x  until the document is as long as it is to be
//   $#  a new number        $=  the last one again      $;  so far they are those of the root's prefixes
//   $:  one of those prefixes, if there are any         $@  the next one at each repetition, or else a new name
//   $[ $]  around the name of an element that stays open; $/  the end tag of the last of them; $.  all their end tags
const auto RuleLines = uR"(
D $X$Y$Y<r*n>$;$S$S$S$S$S+F$E
X ||||<?xml version='1.0' encoding='UTF-8'?>
Y ||$T
T <!DOCTYPE r [$L$L$L$L$L$L]>
L ||*M
M <!ENTITY e$4 "$v$v$v">|<!ENTITY e$4 "$v">|<!ENTITY % f$4 "$w$w$w">|%f$4;|<!ATTLIST $k*d>
M <!ELEMENT a *(b~)>|<!NOTATION n$# PUBLIC 'x'>|<!--*%-->|<?pi *&?>
v |*z|&e$4;
w |*z|%f$4;
4 0|1|2|3
k a|paramvalue
d  xmlns:d$# CDATA "$q"| p0:d$# CDATA "$q"| d$# ID "$q"
q |*'
n  xmlns:p$#='*u$='
S ||*C
F $C|$C$C|$C$C$C|$C$C$C$C
C *t|<![CDATA[*c]]>|<!--*c-->|<?pi *c?>|$R|<$[$N$]$A>|$/|$T
C <$N$A/>|<$N$A/>|<$N$A/>|<$N$A/>|<$N$A/>|<$N$A/>|<$N$A/>|<$N$A/>
N $:n*m|$:paramvalue|$:n$#|$:a|a|a|paramvalue
A |*b|*b*b
b  xmlns:q$#="$V"| $@same="$V"| $@other="$V"| $:b$#="$V"| b$#="$V"
V *h|*h|*h$R
R &amp;|&#38;|&lt;|&e0;|&e1;|&e2;|&e3;
E $.</r>|$.</r>|$.</r>|$.</r>|$.</r>|$.</r>|$.</r>|
t x|"|'|>|]|$r|$l|$2|$3
h x|'|<|&|>|]|$r|$l|$2|$3
c x|"|'|<|&|$r|$l|$2|$3
z x|'|<|&|>|]|$r|$l|$2|$3
m m
u u
( (
) )
% %
& &
' ')"_s;

QMap<QChar, QStringList> readRules()
{
    QMap<QChar, QStringList> rules {
        {u'r', {u"\r"_s}}, {u'l', {u"\n"_s}}, {u'2', {u"\u00fc"_s}}, {u'3', {u"\U0001F600"_s}}};
    const QStringList lines = RuleLines.split(u'\n', Qt::SkipEmptyParts);
    for (const QString& line : lines)
        rules[line.front()] += line.mid(2).split(u'|');
    return rules;
}

} // namespace

DocumentGrammar::DocumentGrammar(QByteArray genes, qsizetype length)
    : genes(std::move(genes))
    , length(length)
{
    expand(u'D');
}

/// A number below \a options; 0 when there are no bytes left.
qsizetype DocumentGrammar::choose(qsizetype options)
{
    return options > 1 && position < genes.size() ? static_cast<uchar>(genes[position++]) % options : 0;
}

qsizetype DocumentGrammar::chooseCount()
{
    const std::array counts {qsizetype(0), qsizetype(1), qsizetype(2), qsizetype(3), qsizetype(10), qsizetype(30),
        qsizetype(100), qsizetype(250), qsizetype(900), length / 256, length / 64, length / 16, length / 4, length / 2};
    return counts.at(static_cast<size_t>(choose(counts.size())));
}

void DocumentGrammar::expand(QChar rule)
{
    static const QMap<QChar, QStringList> rules = readRules();
    const QStringList& alternatives = rules[rule];
    const QString& chosen = alternatives[choose(alternatives.size())];
    for (const QChar* next = chosen.cbegin(); next != chosen.cend(); ++next) {
        if (*next == u'*')
            repeat(*++next, lastCount = chooseCount(), false);
        else if (*next == u'~')
            repeat(*++next, lastCount, false);
        else if (*next == u'+')
            repeat(*++next, length, true);
        else if (*next == u'$')
            writeSpecial(*++next);
        else
            text += *next;
    }
}

void DocumentGrammar::repeat(QChar rule, qsizetype times, bool fills)
{
    const qsizetype begin = position;
    const qsizetype outer = std::exchange(index, 0);
    for (; index < times && text.size() < length; ++index) {
        const qsizetype before = text.size();
        const qsizetype changesBefore = changes;
        position = begin;
        expand(rule);
        if (fills && text.size() == before)
            text += u'x';
        const qsizetype added = text.size() - before;
        if (added > 0 && changes == changesBefore) { // the others are the same
            text += text.last(added).repeated(
                std::min(times - index - 1, std::max<qsizetype>(0, length - text.size()) / added));
            break;
        }
    }
    index = outer;
}

void DocumentGrammar::writeSpecial(QChar sign)
{
    const auto writeEndTag = [this] { text += u"</"_s + open.takeLast() + u'>'; };
    const bool isRule = sign.isLetterOrNumber();
    changes += isRule || sign == u':' ? 0 : 1;
    if (isRule)
        return expand(sign);
    switch (sign.unicode()) {
    case u'#':
        text += QString::number(numbers++);
        break;
    case u'=':
        text += QString::number(numbers - 1);
        break;
    case u';':
        prefixes = numbers;
        break;
    case u':':
        if (prefixes > 0)
            text += u"p%1:"_s.arg(choose(256) % prefixes);
        break;
    case u'@':
        text += index < prefixes ? u"p%1:"_s.arg(index) : u"s%1"_s.arg(numbers++);
        break;
    case u'[':
        nameBegin = text.size();
        break;
    case u']':
        open.append(text.mid(nameBegin));
        break;
    case u'/':
        if (!open.isEmpty())
            writeEndTag();
        break;
    default:
        while (!open.isEmpty())
            writeEndTag();
    }
}
