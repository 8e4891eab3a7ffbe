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
 * The parameters of one document by key, and how often each key has occurred as an element.
 *
 * A key is a string of segments joined by "/". Segments contain no "/", so a key is a path in a tree: each leading part
 * of a key is a node, found by its parent and its segment. So no key is built, compared or stored as a whole while a
 * document is read, and the cost of a node does not depend on its depth.
 *
 * Texts that occur in the document are kept as positions in it; all others share one buffer. A child is searched among
 * its siblings; the few attributes of an element are adjacent in memory. Only the children of a parent with many are in
 * a hash table.
 *
 * Thread: any, one at a time.
 */
class ParameterTree {
public:
    using Node = quint32;
    static constexpr Node Root = 0; ///< parent of all keys, not a key itself
    static constexpr qsizetype Unlimited = std::numeric_limits<qsizetype>::max();

    /// \a document must outlive the tree: its parts are not copied.
    explicit ParameterTree(QStringView document = {})
        : document(document)
    {
    }

    /// The node of a key, if it has a value.
    std::optional<Node> find(QStringView key) const;
    /// The node of a key, added if new.
    Node findOrAdd(QStringView key);
    /// The node one segment below \a parent, added if new.
    Node findOrAddChild(Node parent, QStringView segment);
    /// Counts an occurrence. \return the node itself the first time; later a sibling, whose segment has the number of
    /// earlier occurrences appended
    Node nextOccurrence(Node node);

    /// Null if there is none. Valid until the tree is changed.
    QStringView value(Node node) const
    {
        const Text value = entries.at(node).value;
        if (value.start == NoValue.start)
            return {};
        return value.start == LongValue.start ? QStringView(longValue) : view(value);
    }
    void setValue(Node node, QStringView value) { entries[node].value = keep(value); }

    /// Sets a value without copying it: it can be many times as long as the document. The tree keeps only one.
    void setLongValue(Node node, QString value)
    {
        entries[node].value = LongValue;
        longValue = std::move(value);
    }

    /// The first \a most values by key, each cut to \a longest characters.
    QMap<QString, QString> values(qsizetype most = Unlimited, qsizetype longest = Unlimited) const;

private:
    struct Text {
        quint32 start; ///< in the document; from the document's length on: in texts
        quint32 length;
    };
    struct Entry {
        Node parent = Root;
        Node firstChild = Root; ///< the newest one; Root: none
        Node nextSibling = Root; ///< the next older one; Root: none
        quint32 children = 0;
        Text segment {0, 0};
        Text value = NoValue;
        quint32 occurrences = 0; ///< of the key as an element
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
    // Large enough that a command without a list, such as showLive, needs no allocation.
    QVarLengthArray<char16_t, 256> texts;
    QVarLengthArray<Entry, 24> entries {Entry()}; ///< by node; the first is the root
    QString longValue;
    std::unordered_multimap<size_t, Node> manyChildren; ///< the children of parents with many, by hash
};

} // namespace OrvaneInterface
