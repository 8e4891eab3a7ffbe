#include "ParameterTree.h"

#include <QHash>
#include <QStringList>

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace {

/// Up to here looking at each child is faster than the hash table. It is what an element has in attributes.
constexpr quint32 ManyChildren = 16;

constexpr qsizetype FirstTableSize = 64;

/// A list of subsplits, which is what can be long, has one for each 11; what is needed beyond is grown into.
constexpr qsizetype DocumentCharactersPerNode = 10;

/// Takes the first segment off \a key, which is null after the last one.
QStringView takeSegment(QStringView& key)
{
    const auto* const separator = std::find(key.begin(), key.end(), u'/');
    const QStringView segment(key.begin(), separator);
    key = separator == key.end() ? QStringView() : QStringView(separator + 1, key.end());
    return segment;
}

} // namespace

ParameterTree::ParameterTree() = default;
ParameterTree::~ParameterTree() = default;

void ParameterTree::reserve(qsizetype documentLength)
{
    texts.reserve(documentLength); // of which as much stays address space as is not used
    entries.reserve(documentLength / DocumentCharactersPerNode);
}

std::optional<ParameterTree::Node> ParameterTree::find(QStringView key) const
{
    Node node = Root;
    do {
        node = findChild(node, takeSegment(key));
        if (node == Root)
            return std::nullopt;
    } while (!key.isNull());
    return node;
}

ParameterTree::Node ParameterTree::node(QStringView key)
{
    Node node = Root;
    do
        node = child(node, takeSegment(key));
    while (!key.isNull());
    return node;
}

ParameterTree::Node ParameterTree::child(Node parent, QStringView segment)
{
    const Node known = findChild(parent, segment);
    return known != Root ? known : addChild(parent, segment);
}

ParameterTree::Node ParameterTree::nextOccurrence(Node node)
{
    const quint32 count = entries[node].occurrences++;
    if (count == 0)
        return node;

    std::array<char16_t, std::numeric_limits<quint32>::digits10 + 1> digits {};
    char16_t* const end = digits.data() + digits.size();
    char16_t* begin = end;
    for (quint32 rest = count; rest > 0; rest /= 10)
        *--begin = static_cast<char16_t>(u'0' + rest % 10);

    const QStringView segment = view(entries.at(node).segment);
    QVarLengthArray<char16_t, 64> numbered;
    numbered.append(segment.utf16(), segment.size());
    numbered.append(begin, end - begin);
    return child(entries.at(node).parent, QStringView(numbered.data(), numbered.size()));
}

void ParameterTree::setValue(Node node, QStringView value)
{
    entries[node].value = append(value);
}

QMap<QString, QString> ParameterTree::values() const
{
    QMap<QString, QString> values;
    for (Node node = Root + 1; node < entries.size(); ++node) {
        if (hasValue(node))
            values.insert(key(node), value(node).toString());
    }
    return values;
}

QMap<QString, int> ParameterTree::occurrenceCounts() const
{
    QMap<QString, int> counts;
    for (Node node = Root + 1; node < entries.size(); ++node) {
        if (const quint32 count = entries.at(node).occurrences; count > 0)
            counts.insert(key(node) + QLatin1String("/index"), static_cast<int>(count));
    }
    return counts;
}

/// Root when there is none.
ParameterTree::Node ParameterTree::findChild(Node parent, QStringView segment) const
{
    if (entries.isEmpty())
        return Root;
    if (entries.at(parent).children > ManyChildren)
        return table.at(slotOf(parent, segment));
    Node node = entries.at(parent).firstChild;
    while (node != Root && view(entries.at(node).segment) != segment)
        node = entries.at(node).nextSibling;
    return node;
}

ParameterTree::Node ParameterTree::addChild(Node parent, QStringView segment)
{
    if (entries.isEmpty())
        entries.append(Entry {}); // the root
    const auto added = static_cast<Node>(entries.size());
    Entry entry;
    entry.parent = parent;
    entry.nextSibling = std::exchange(entries[parent].firstChild, added);
    entry.segment = append(segment);
    entries.append(entry);

    const quint32 children = ++entries[parent].children;
    if (children > ManyChildren + 1) {
        addToTable(added);
    } else if (children == ManyChildren + 1) {
        for (Node node = added; node != Root; node = entries.at(node).nextSibling)
            addToTable(node);
    }
    return added;
}

/// Seeded, so that nobody outside can choose segments that meet in one slot.
quint32 ParameterTree::hashOf(Node parent, QStringView segment)
{
    static const size_t seed = QHashSeed::globalSeed();
    constexpr size_t spread = 0x9e3779b97f4a7c15; // so that neighbours among the parents are no neighbours as seeds
    return static_cast<quint32>(qHash(segment, seed ^ ((size_t(parent) + 1) * spread)));
}

/// Where the node stands in the table, or the free slot where it would.
qsizetype ParameterTree::slotOf(Node parent, QStringView segment) const
{
    const qsizetype mask = table.size() - 1;
    qsizetype slot = hashOf(parent, segment) & mask;
    for (;; slot = (slot + 1) & mask) {
        const Node node = table.at(slot);
        if (node == Root)
            return slot;
        const Entry& entry = entries.at(node);
        if (entry.parent == parent && view(entry.segment) == segment)
            return slot;
    }
}

void ParameterTree::addToTable(Node node)
{
    if (2 * (tableEntries + 1) > table.size())
        growTable();
    const Entry& entry = entries.at(node);
    table[slotOf(entry.parent, view(entry.segment))] = node;
    ++tableEntries;
}

void ParameterTree::growTable()
{
    const QList<Node> smaller = std::exchange(table, {});
    table.resize(std::max(FirstTableSize, 2 * smaller.size()));
    for (const Node node : smaller) {
        if (node != Root)
            table[slotOf(entries.at(node).parent, view(entries.at(node).segment))] = node;
    }
}

ParameterTree::Text ParameterTree::append(QStringView text)
{
    const Text appended {static_cast<quint32>(texts.size()), static_cast<quint32>(text.size())};
    texts.append(text.utf16(), text.size());
    return appended;
}

QString ParameterTree::key(Node node) const
{
    QStringList segments;
    for (; node != Root; node = entries.at(node).parent)
        segments.prepend(view(entries.at(node).segment).toString());
    return segments.join(u'/');
}
