#include "ReferenceReading.h"
#include "Target.h"
#include "XmlCommandReader.h"

#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

using namespace Qt::StringLiterals;

// The plain reader reads a document as QXmlStreamReader does, or declines and leaves no trace. The input is a list of
// steps that write a document: most documents are plain, a few only nearly.

namespace {

/// How many the plain reader has read; printed at the end.
struct Share {
    ~Share() { static_cast<void>(std::fprintf(stderr, "%ld of %ld documents were plain\n", plain, all)); }
    long all = 0;
    long plain = 0;
};

const QStringList Names = {u"a"_s, u"subsplit"_s, u"a1"_s, u"camera"_s, u"_x-.9"_s, u"paramvalue"_s, u"xmlns"_s,
    u"p:a"_s, u"xml"_s, u"\u00fc"_s, u"a"_s, u"b"_s, u"subsplits"_s, u"x"_s.repeated(1001)};
const QStringList Texts = {u"1"_s, u" "_s, u"T\u00fcr"_s, u"text"_s, u"a>b"_s, u"\n"_s, u"]]>"_s, u"&amp;"_s, u"\r"_s,
    u"<![CDATA[x]]>"_s, u"\t"_s, u"\"'"_s, u"<!-- -->"_s, u"<?p?>"_s, u"\U0001F600"_s, u"]"_s, u"-5"_s, u"\ufeff"_s,
    u"\u0085"_s, u"<"_s, u"/>"_s, u"</a>"_s, u"www.w3.org"_s};
const QStringList Begins = {QString(), u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>"_s, u"<?xml version=\"1.0\"?>\n"_s,
    QString(), u" "_s, u"<?xml version='1.0'?>"_s, u"<?xml version=\"1.1\"?>"_s, u"<!DOCTYPE r>"_s, u"\ufeff"_s,
    u"<?xml version=\"1.0\" ?>"_s};
const QStringList Roots = {u"r"_s, u"p:r xmlns:p=\"u\""_s, u"r xmlns='u'"_s, u"r a='1'"_s,
    u"p:r a='1' xmlns:p = 'u' "_s, u"p:r"_s, u"p:r xmlns:p='u' p:a='1'"_s, u"xml:r"_s, u"r a='1' a='1'"_s,
    u"p:r xmlns:p=''"_s, u"r xmlns='http://www.w3.org/2000/xmlns/'"_s,
    u"p:r xmlns:p='http://www.w3.org/XML/1998/namespace'"_s, u"r a = \"]]>\"\n"_s};

class Writer {
public:
    Writer(const uint8_t* data, size_t size)
        : data(data)
        , size(size)
    {
    }

    QString document()
    {
        text = one(Begins);
        start(one(Roots));
        while (size > 0)
            step(take());
        while (!open.isEmpty())
            text += u"</%1>"_s.arg(open.takeLast());
        return text;
    }

private:
    void step(uint8_t kind)
    {
        switch (kind % 8) {
        case 0:
            start(one(Names));
            break;
        case 1:
            start(one(Names) + attributes());
            break;
        case 2:
            text += u'<' + one(Names) + attributes() + u"/>"_s;
            break;
        case 3:
        case 4:
            if (open.size() > 1)
                text += u"</%1>"_s.arg(open.takeLast());
            break;
        case 5:
            text += one(Texts);
            break;
        case 6:
            text += u"\n "_s;
            break;
        default:
            if (kind < 64)
                disturb();
        }
    }

    void start(QString tag)
    {
        if (take() % 16 == 0) // the name, also in its end tag
            tag.insert(take() % 4 % (tag.size() + 1), anyCharacter());
        text += u'<' + tag + u'>';
        open += tag.section(u' ', 0, 0);
    }

    QString attributes()
    {
        QString attributes;
        const int all = take() % 32 == 0 ? take() % 18 : 0; // and perhaps one of them again
        for (int number = 0; number < all; ++number)
            attributes += u" n%1=''"_s.arg(number);
        if (all > 0 && take() % 2 == 0)
            attributes += u" n%1=''"_s.arg(take() % all);
        for (int count = take() % 5; count > 0; --count) {
            const QString quote = take() % 2 == 0 ? u"\""_s : u"'"_s;
            attributes += u' ' + one(Names) + u'=' + quote + one(Texts) + quote;
        }
        return attributes;
    }

    /// Mostly one of the first five, which are plain.
    QString one(const QStringList& list)
    {
        const uint8_t choice = take();
        constexpr uint8_t rare = 6;
        return choice < rare ? list.at(take() % list.size()) : list.at(choice % 5);
    }

    /// Inserts any character anywhere near the end.
    void disturb() { text.insert(text.size() - std::min<qsizetype>(take() % 32, text.size()), anyCharacter()); }

    /// Half of the time, one used in markup.
    QChar anyCharacter()
    {
        constexpr QStringView ofMarkup = u" \n\t\v<>/=\"'&;:!?1-.a";
        const uint8_t high = take();
        return high % 2 == 0 ? ofMarkup[take() % ofMarkup.size()] : QChar(char16_t(high << 8 | take()));
    }

    uint8_t take()
    {
        if (size == 0)
            return 255;
        --size;
        return *data++;
    }

    const uint8_t* data;
    size_t size;
    QString text;
    QStringList open;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static Share share;
    const QString document = Writer(data, size).document();
    ++share.all;

    const ReferenceReading reference(document);
    const bool plain = isPlain(document);
    share.plain += plain ? 1 : 0;
    if (!reference.isWellFormed) {
        require(!plain, u"a malformed document is plain: "_s + document);
        return 0;
    }
    XmlCommandReader reader;
    reader.parseCommand(document);
    if (reader.refusalReason().isNull()) {
        require(
            reader.commandName() == reference.commandName, u"the readers find different command names: "_s + document);
        require(
            reader.allParameters() == reference.parameters, u"the readers find different parameters: "_s + document);
    }
    return 0;
}
