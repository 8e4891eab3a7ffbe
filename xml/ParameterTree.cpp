#include "ParameterTree.h"

#include <QHash>
#include <QStringList>

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <limits>
#include <utility>

namespace OrvaneInterface {

namespace {

/// Up to here looking at each child is faster than hashing. Hardly an element has more attributes.
constexpr quint32 MostChildrenToLookAt = 16;

/// How many times as many nodes there may be room for as there are.
constexpr qint64 MostRoom = 8;

/// Takes the first segment off \a key, which is null after the last one.
QStringView takeSegment(QStringView& key)
{
    const auto* const separator = std::find(key.begin(), key.end(), u'/');
    const QStringView segment(key.begin(), separator);
    key = separator == key.end() ? QStringView() : QStringView(separator + 1, key.end());
    return segment;
}

/// Seeded, so that nobody outside can choose segments that meet in one bucket.
size_t hashOf(quint32 parent, QStringView segment)
{
    static const size_t seed = QHashSeed::globalSeed();
    // Neighbouring parents get seeds that are far apart.
    constexpr auto spread = static_cast<size_t>(Q_UINT64_C(0x9e3779b97f4a7c15));
    return qHash(segment, seed ^ ((size_t(parent) + 1) * spread));
}

} // namespace

ParameterTree::ParameterTree() = default;
ParameterTree::~ParameterTree() = default;

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

ParameterTree::Node ParameterTree::findOrAdd(QStringView key)
{
    Node node = Root;
    do
        node = findOrAddChild(node, takeSegment(key));
    while (!key.isNull());
    return node;
}

ParameterTree::Node ParameterTree::findOrAddChild(Node parent, QStringView segment)
{
    const Node known = findChild(parent, segment);
    return known != Root ? known : addChild(parent, segment);
}

ParameterTree::Node ParameterTree::nextOccurrence(Node node)
{
    const quint32 count = entries[node].occurrences++;
    if (count == 0)
        return node;

    std::array<char, std::numeric_limits<quint32>::digits10 + 1> number {};
    const char* const end = std::to_chars(number.begin(), number.end(), count).ptr;
    const QStringView segment = view(entries.at(node).segment);
    QVarLengthArray<char16_t, 64> numbered;
    numbered.append(segment.utf16(), segment.size());
    for (const char* digit = number.begin(); digit != end; ++digit)
        numbered.append(static_cast<char16_t>(*digit));
    return findOrAddChild(entries.at(node).parent, QStringView(numbered.constData(), numbered.size()));
}

void ParameterTree::setValue(Node node, QStringView value)
{
    entries[node].value = keep(value);
}

void ParameterTree::setLongValue(Node node, QString value)
{
    entries[node].value = LongValue;
    longValue = std::move(value);
}

void ParameterTree::clear()
{
    manyChildren.clear();
    entries.clear();
    texts.clear();
    longValue.clear();
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

/// Root when there is none.
ParameterTree::Node ParameterTree::findChild(Node parent, QStringView segment) const
{
    if (entries.isEmpty())
        return Root;
    if (entries.at(parent).children > MostChildrenToLookAt) {
        const auto [first, last] = manyChildren.equal_range(hashOf(parent, segment));
        const auto found =
            std::find_if(first, last, [&](const auto& child) { return isChild(child.second, parent, segment); });
        return found == last ? Root : found->second;
    }
    Node node = entries.at(parent).firstChild;
    while (node != Root && view(entries.at(node).segment) != segment)
        node = entries.at(node).nextSibling;
    return node;
}

ParameterTree::Node ParameterTree::addChild(Node parent, QStringView segment)
{
    if (entries.isEmpty())
        entries.emplace_back(); // the root
    const auto added = static_cast<Node>(entries.size());
    const Text name = keep(segment);
    if (entries.size() == entries.capacity())
        makeRoom(name);
    Entry& entry = entries.emplace_back(); // made in place: copying what has just been written would wait for it
    entry.parent = parent;
    entry.nextSibling = std::exchange(entries[parent].firstChild, added);
    entry.segment = name;

    const quint32 children = ++entries[parent].children;
    if (children > MostChildrenToLookAt + 1) {
        manyChildren.emplace(hashOf(parent, segment), added);
    } else if (children == MostChildrenToLookAt + 1) {
        for (Node node = added; node != Root; node = entries.at(node).nextSibling)
            manyChildren.emplace(hashOf(parent, view(entries.at(node).segment)), node);
    }
    return added;
}

/// For as many nodes as the document has at its end, if it goes on as it has up to the newest segment: each growth
/// copies all there are, into memory that is new.
void ParameterTree::makeRoom(Text newest)
{
    const qint64 used = entries.size();
    const qint64 read = std::clamp<qint64>(newest.start, 1, document.size() + 1);
    const qint64 expected = used * document.size() / read;
    entries.reserve(static_cast<qsizetype>(std::clamp(expected + expected / 8, 2 * used, MostRoom * used)));
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

QString ParameterTree::key(Node node) const
{
    QStringList segments;
    for (; node != Root; node = entries.at(node).parent)
        segments.prepend(view(entries.at(node).segment).toString());
    return segments.join(u'/');
}

} // namespace OrvaneInterface
