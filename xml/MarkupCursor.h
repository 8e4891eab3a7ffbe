#pragma once

#include <QStringView>

#include <algorithm>

namespace OrvaneInterface {

/**
 * A position in a document's text, advanced by taking or skipping.
 *
 * Knows the syntax of markup. The caller knows what is allowed where, and which characters names and values may
 * contain. Allocates nothing, and takes time proportional to the length. After a syntax error constructs cannot be told
 * apart, so an error skips to the end. Thread: any, one at a time.
 */
class MarkupCursor {
public:
    static constexpr auto isAny = [](char16_t /*character*/) { return true; };
    static constexpr auto isSpace = [](char16_t character) {
        return character <= u' ' // false for nearly all, so tested first
            && (character == u' ' || character == u'\n' || character == u'\r' || character == u'\t');
    };

    struct Attribute {
        QStringView qualifiedName;
        QStringView content;

        QStringView name() const { return qualifiedName; }
        QStringView value() const { return content; }
    };

    /// \a text must outlive this object.
    explicit MarkupCursor(QStringView text)
        : position(text.utf16())
        , end(position + text.size())
    {
    }

    QStringView rest() const { return {position, end}; }
    bool atEnd() const { return position == end; }
    bool at(char16_t expected) const { return !atEnd() && *position == expected; }
    bool at(QStringView expected) const
    {
        return end - position >= expected.size() && std::equal(position, position + expected.size(), expected.utf16());
    }
    bool atQuote() const { return at(u'"') || at(u'\''); }
    /// At the end of a start tag.
    bool atTagEnd() const { return at(u'>') || at(u'/'); }

    void skipAll() { position = end; }
    /// \return whether there was any
    bool skipSpace() { return !takeWhile(isSpace).isEmpty(); }
    /// Skips past \a what. \return false if there is none; everything is then skipped
    bool skipBehind(QStringView what)
    {
        const qsizetype found = rest().indexOf(what);
        position = found < 0 ? end : position + found + what.size();
        return found >= 0;
    }

    bool take(char16_t expected) { return take(QStringView(&expected, 1)); }
    bool take(QStringView expected)
    {
        const bool isThere = at(expected);
        position += isThere ? expected.size() : 0;
        return isThere;
    }

    /// Goes character by character: nearly all that is taken is too short for a search to be faster.
    template <typename Predicate> QStringView takeWhile(const Predicate& predicate)
    {
        const char16_t* const begin = position;
        while (position != end && predicate(*position))
            ++position;
        return {begin, position};
    }

    /// The text in quotes, if \a mayHold is true for all its characters; otherwise null.
    template <typename Predicate> QStringView takeQuoted(const Predicate& mayHold)
    {
        if (atQuote()) {
            const char16_t quote = *position++;
            const QStringView text = takeWhile([&](char16_t next) { return next != quote && mayHold(next); });
            if (take(quote))
                return text;
        }
        skipAll();
        return {};
    }

    /// Takes the next attribute of a start tag. \return false at the tag's end, or if there is no attribute
    template <typename NamePredicate, typename ValuePredicate>
    bool takeAttribute(Attribute& attribute, const NamePredicate& nameMayHold, const ValuePredicate& valueMayHold)
    {
        skipSpace();
        if (atTagEnd())
            return false;
        attribute.qualifiedName = takeWhile(nameMayHold);
        skipSpace();
        if (!take(u'='))
            skipAll();
        skipSpace();
        attribute.content = takeQuoted(valueMayHold);
        return !attribute.content.isNull();
    }

private:
    const char16_t* position;
    const char16_t* end;
};

} // namespace OrvaneInterface
