#pragma once

#include <QStringView>

#include <algorithm>

namespace OrvaneInterface {

/**
 * A place in the text of a document, which moves on over what is taken or skipped.
 *
 * Knows how markup is written, and leaves it to its user what may be where, and of which characters names and values
 * are made. It takes no memory, and time in proportion to the length. Behind an error of the document one construct
 * cannot be told from another, so an error is the end of what there is. Thread: any one at a time.
 */
class MarkupCursor {
public:
    static constexpr auto isAny = [](char16_t /*character*/) { return true; };
    static constexpr auto isSpace = [](char16_t character) {
        return character <= u' ' // nearly none, and so told at once
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
    /// Of a start tag.
    bool atTagEnd() const { return at(u'>') || at(u'/'); }

    void skipAll() { position = end; }
    /// \return whether there was any
    bool skipSpace() { return !takeWhile(isSpace).isEmpty(); }
    /// \return false where there is none; then everything is skipped
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

    /// One character after the other: nearly all that is taken is too short for a search to be faster.
    template <typename Predicate> QStringView takeWhile(const Predicate& predicate)
    {
        const char16_t* const begin = position;
        while (position != end && predicate(*position))
            ++position;
        return {begin, position};
    }

    /// What stands in quotes, if it is made of characters for which \a mayHold is true; null where there is no such
    /// thing.
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

    /// The next attribute of a start tag. \return false at the tag's end, or where there is none
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
