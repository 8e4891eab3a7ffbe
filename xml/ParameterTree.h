#pragma once

#include <QMap>
#include <QString>
#include <QStringView>
#include <QVarLengthArray>

#include <limits>
#include <optional>
#include <unordered_map>
#include <utility>

namespace OrvaneInterface {

/**
 * The parameters of one document by their keys, and how often each key has been met as an element.
 *
 * A key is a text of segments joined by "/". No segment holds a "/" itself, so a key and its way down a tree are the
 * same thing: every beginning of a key is a node, which is found by its parent and its segment. A key is therefore
 * never built, compared or stored as a whole, and what a node costs does not depend on how deep it stands.
 *
 * What stands in the document itself is kept as a place in it, all other texts stand behind one another in one buffer.
 * A child is looked for among its siblings, which for the few attributes of an element lie side by side in memory; only
 * a parent that has many children has them in a hash table.
 *
 * Thread: any one at a time.
 */
class ParameterTree {
public:
    using Node = quint32;
    static constexpr Node Root = 0; ///< parent of all keys; no key itself
    static constexpr qsizetype Unlimited = std::numeric_limits<qsizetype>::max();

    /// \a document must outlive the tree: what is part of it is not copied.
    explicit ParameterTree(QStringView document = {})
        : document(document)
    {
    }

    /// The node of a key that has a value.
    std::optional<Node> find(QStringView key) const;
    /// The node of a key, added when it is new.
    Node findOrAdd(QStringView key);
    /// The node one segment below \a parent, added when it is new.
    Node findOrAddChild(Node parent, QStringView segment);
    /// Counts the node as met once more. Gives the node itself the first time; from then on its sibling that has the
    /// number of times it was met before appended to the segment.
    Node nextOccurrence(Node node);

    /// Null where there is none. Valid until the tree is changed.
    QStringView value(Node node) const
    {
        const Text value = entries.at(node).value;
        if (value.start == NoValue.start)
            return {};
        return value.start == LongValue.start ? QStringView(longValue) : view(value);
    }
    void setValue(Node node, QStringView value) { entries[node].value = keep(value); }

    /// Sets a value that can be many times as long as the document, and is therefore not copied. The tree keeps one.
    void setLongValue(Node node, QString value)
    {
        entries[node].value = LongValue;
        longValue = std::move(value);
    }

    /// The first \a most values by their keys, and of each value the first \a longest characters.
    QMap<QString, QString> values(qsizetype most = Unlimited, qsizetype longest = Unlimited) const;

private:
    struct Text {
        quint32 start; ///< in the document; from its length on in texts
        quint32 length;
    };
    struct Entry {
        Node parent = Root;
        Node firstChild = Root; ///< the newest one; Root: none
        Node nextSibling = Root; ///< the next older one; Root: none
        quint32 children = 0;
        Text segment {0, 0};
        Text value = NoValue;
        quint32 occurrences = 0; ///< how often the key has been met as an element
    };
    static constexpr Text NoValue {~quint32(0), 0};
    static constexpr Text LongValue {~quint32(1), 0};

    Node findChild(Node parent, QStringView segment) const;
    void makeRoom(Text newest);
    QStringView view(Text text) const
    {
        const qsizetype behindDocument = text.start - document.size();
        return {(behindDocument < 0 ? document.utf16() + text.start : texts.constData() + behindDocument),
            qsizetype(text.length)};
    }
    Text keep(QStringView text);

    QStringView document;
    // Room for a command without a list, such as showLive, without an allocation.
    QVarLengthArray<char16_t, 256> texts;
    QVarLengthArray<Entry, 24> entries {Entry()}; ///< by node; the first one is the root
    QString longValue;
    std::unordered_multimap<size_t, Node> manyChildren; ///< the children of parents with many, by their hashes
};

} // namespace OrvaneInterface
