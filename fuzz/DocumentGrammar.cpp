#include "DocumentGrammar.h"

#include <QMap>
#include <QStringList>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace {

// Each line is a rule, or the rest of one: its alternatives, from which a gene chooses.
//   $x  the rule x          *x  the rule x a chosen number of times, with the same genes each time
//   ~x  as many times as the last *                     +x  until the document has its full length
//   $#  a new number        $=  the last one again      $;  the numbers so far are those of the root's prefixes
//   $:  one of those prefixes, if there are any         $@  the next one at each repetition, otherwise a new name
//   $[ $]  around the name of an element left open; $/  the end tag of the last of these; $.  all their end tags
const auto RuleLines = uR"(
D $X$Y$Y<r*n>$;$S$S$S$S$S+F$E
P $B<$[$i$]$j>$p$p$p$p$p$p$p$p$p$p$.
B |||||<?xml version="1.0"?>$l|<?xml version="1.0" encoding="UTF-8"?>|$G
G  |$5|<?xml version='1.0'?>|<?xml version="1.1"?>|<?xml version="1.0" ?>|<?xml version="1.0" a="b"?>|<!DOCTYPE r>
i r|r|a|b|subsplit|camera|_x-.9|a1|$J
J paramvalue|xmlns|p:a|xml:a|xml|$2|*m
j |||||| $i="$s"| $i = '$s'$l| a='1' b='2'|$K
K  xmlns:p="$s"| xmlns="u"| p:a='1'| a='1' a='2'|*o| xmlns:p='http://www.w3.org/XML/1998/namespace'
o  n$#=''
p <$[$i$]$j>|<$[$i$]$j>|<$i$j/>|$/|$/|$s|$s|$l
s 1|-5|text|T$2r|a>b|$l$8|$O
O $5|]]>|&amp;|$r|<![CDATA[x]]>|$8|"'|<!-- -->|<?p?>|$3|]|$6|$7|<|/>|</a>|www.w3.org
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
    QMap<QChar, QStringList> rules {{u'r', {u"\r"_s}}, {u'l', {u"\n"_s}}, {u'2', {u"\u00fc"_s}},
        {u'3', {u"\U0001F600"_s}}, {u'5', {u"\ufeff"_s}}, {u'6', {u"\u0085"_s}}, {u'7', {u"\ufffe"_s}},
        {u'8', {u"\t"_s}}};
    const QStringList lines = RuleLines.split(u'\n', Qt::SkipEmptyParts);
    for (const QString& line : lines)
        rules[line.front()] += line.mid(2).split(u'|');
    return rules;
}

class DocumentGrammar {
public:
    DocumentGrammar(const QByteArray& genes, qsizetype length, QChar rule)
        : genes(genes)
        , length(length)
    {
        expand(rule);
    }

    QString text;

private:
    /// A number below \a options; 0 if no bytes are left.
    qsizetype choose(qsizetype options)
    {
        return options > 1 && position < genes.size() ? static_cast<uchar>(genes[position++]) % options : 0;
    }

    qsizetype chooseCount()
    {
        const std::array counts {qsizetype(0), qsizetype(1), qsizetype(2), qsizetype(3), qsizetype(10), qsizetype(30),
            qsizetype(100), qsizetype(250), qsizetype(900), length / 256, length / 64, length / 16, length / 4,
            length / 2};
        return counts.at(static_cast<size_t>(choose(counts.size())));
    }

    void expand(QChar rule)
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

    void repeat(QChar rule, qsizetype times, bool fills)
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
            if (changes != changesBefore)
                continue;
            const qsizetype added = std::max<qsizetype>(1, text.size() - before); // the rest is the same
            const qsizetype left = std::min(times - index - 1, std::max<qsizetype>(0, length - text.size()) / added);
            text += text.sliced(before).repeated(left);
            break;
        }
        index = outer;
    }

    void writeSpecial(QChar sign)
    {
        changes += sign.isLetterOrNumber() || sign == u':' ? 0 : 1;
        if (sign.isLetterOrNumber())
            expand(sign);
        else if (sign == u'#')
            text += QString::number(numbers++);
        else if (sign == u'=')
            text += QString::number(numbers - 1);
        else if (sign == u';')
            prefixes = numbers;
        else if (sign == u':')
            text += prefixes > 0 ? u"p%1:"_s.arg(choose(256) % prefixes) : QString();
        else if (sign == u'@')
            text += index < prefixes ? u"p%1:"_s.arg(index) : u"s%1"_s.arg(numbers++);
        else if (sign == u'[')
            nameBegin = text.size();
        else if (sign == u']')
            open.append(text.mid(nameBegin));
        else
            writeEndTags(sign == u'/' ? 1 : open.size());
    }

    void writeEndTags(qsizetype count)
    {
        for (; count > 0 && !open.isEmpty(); --count)
            text += u"</"_s + open.takeLast() + u'>';
    }

    const QByteArray& genes;
    qsizetype position = 0;
    const qsizetype length;
    QStringList open; ///< elements inside the root
    qsizetype nameBegin = 0; ///< of the next one
    qsizetype lastCount = 0;
    qsizetype index = 0; ///< of the repetition
    qsizetype prefixes = 0; ///< that the root element declares
    qsizetype numbers = 0; ///< for names that must differ
    qsizetype changes = 0; ///< after which the same genes write something else
};

} // namespace

QString documentOf(const QByteArray& genes, qsizetype length)
{
    return DocumentGrammar(genes, length, u'D').text;
}

QString plainDocumentOf(const QByteArray& genes)
{
    return DocumentGrammar(genes, 1000, u'P').text;
}
