#include "ParameterTree.h"

#include <QRandomGenerator>
#include <QStringList>
#include <QStringTokenizer>

#include <algorithm>
#include <functional>
#include <string>

namespace OrvaneInterface {

namespace {

/// Up to this number, looking at each child is faster than hashing. Hardly any element has more attributes.
constexpr quint32 MostChildrenToLookAt = 16;

/// A polynomial of the characters modulo a prime, at a random point, so that clients cannot choose segments that
/// collide. Not qHash(): on processors with AVX-512 it was seen to double the cost of a list.
size_t hashOf(quint32 parent, QStringView segment)
{
    constexpr quint32 prime = 0x7FFF'FFFF;
    static const quint64 place = QRandomGenerator::global()->bounded(quint32(1) << 16, prime);
    quint64 value = parent;
    for (const QChar character : segment)
        value = (value * place + character.unicode()) % prime;
    return value;
}

} // namespace

std::optional<ParameterTree::Node> ParameterTree::find(QStringView key) const
{
    Node node = Root;
    for (const QStringView segment : key.tokenize(u'/')) {
        node = findChild(node, segment);
        if (node == Root)
            break;
    }
    return value(node).isNull() ? std::nullopt : std::optional(node);
}

ParameterTree::Node ParameterTree::findOrAdd(QStringView key)
{
    Node node = Root;
    for (const QStringView segment : key.tokenize(u'/'))
        node = findOrAddChild(node, segment);
    return node;
}

ParameterTree::Node ParameterTree::nextOccurrence(Node node)
{
    const quint32 count = entries[node].occurrences++;
    if (count == 0)
        return node;

    const QStringView segment = view(entries.at(node).segment);
    QVarLengthArray<char16_t, 64> numbered(segment.utf16(), segment.utf16() + segment.size());
    for (const char digit : std::to_string(count))
        numbered.append(static_cast<char16_t>(digit));
    return findOrAddChild(entries.at(node).parent, numbered);
}

QMap<QString, QString> ParameterTree::values(qsizetype most, qsizetype longest) const
{
    QMap<QString, QString> values;
    for (Node node = Root + 1; node < entries.size() && values.size() < most; ++node) {
        const QStringView text = value(node);
        if (text.isNull())
            continue;
        QStringList segments;
        for (Node above = node; above != Root; above = entries.at(above).parent)
            segments.prepend(view(entries.at(above).segment).toString());
        values.insert(segments.join(u'/'), text.first(std::min(text.size(), longest)).toString());
    }
    return values;
}

/// Root if there is none.
ParameterTree::Node ParameterTree::findChild(Node parent, QStringView segment) const
{
    if (entries.at(parent).children > MostChildrenToLookAt) {
        const auto [first, last] = manyChildren.equal_range(hashOf(parent, segment));
        const auto found = std::find_if(first, last, [&](const auto& child) {
            return entries.at(child.second).parent == parent && view(entries.at(child.second).segment) == segment;
        });
        return found == last ? Root : found->second;
    }
    Node node = entries.at(parent).firstChild;
    while (node != Root && view(entries.at(node).segment) != segment)
        node = entries.at(node).nextSibling;
    return node;
}

ParameterTree::Node ParameterTree::findOrAddChild(Node parent, QStringView segment)
{
    if (const Node known = findChild(parent, segment); known != Root)
        return known;

    const auto added = static_cast<Node>(entries.size());
    const Text name = keep(segment);
    if (entries.size() == entries.capacity())
        makeRoom(name);
    Entry& entry = entries.emplace_back(); // built in place: copying it would wait for the writes just made
    entry.parent = parent;
    entry.nextSibling = std::exchange(entries[parent].firstChild, added);
    entry.segment = name;

    const quint32 children = ++entries[parent].children;
    // The first child above the limit is hashed together with all before it.
    const Node hashed = children == MostChildrenToLookAt + 1 ? Root : entry.nextSibling;
    for (Node node = added; children > MostChildrenToLookAt && node != hashed; node = entries.at(node).nextSibling)
        manyChildren.emplace(hashOf(parent, view(entries.at(node).segment)), node);
    return added;
}

/// Reserves room for all nodes of the document, estimated from those up to the newest segment: each growth copies all
/// entries into new memory.
void ParameterTree::makeRoom(Text newest)
{
    const qint64 used = entries.size();
    const qint64 expected = used * document.size() / std::clamp<qint64>(newest.start, 1, document.size() + 1);
    entries.reserve(static_cast<qsizetype>(std::clamp(expected + expected / 8, 2 * used, 8 * used)));
}

ParameterTree::Text ParameterTree::keep(QStringView text)
{
    const auto length = static_cast<quint32>(text.size());
    const std::less_equal<> isBefore;
    if (isBefore(document.begin(), text.begin()) && isBefore(text.end(), document.end()))
        return {static_cast<quint32>(text.begin() - document.begin()), length};
    const Text kept {static_cast<quint32>(document.size() + texts.size()), length};
    texts.append(text.utf16(), text.size());
    return kept;
}

} // namespace OrvaneInterface
