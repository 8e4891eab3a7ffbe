#include "ParameterTree.h"

#include <QHash>
#include <QStringList>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <utility>

namespace OrvaneInterface {

namespace {

/// Up to here looking at each child is faster than hashing. Hardly an element has more attributes.
constexpr quint32 MostChildrenToLookAt = 16;

/// Long documents are lists of subsplits, which have a node for each 11 characters. For more the tree grows.
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

ParameterTree::ParameterTree()
    : manyChildren(0, ChildHash {this}, ChildEqual {this})
{
}

ParameterTree::~ParameterTree() = default;

void ParameterTree::reserve(qsizetype documentLength)
{
    texts.reserve(documentLength); // what is not used of it costs address space alone
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
    const Child child = childAt(node);
    QVarLengthArray<char16_t, 64> numbered;
    numbered.append(child.segment.utf16(), child.segment.size());
    for (const char* digit = number.begin(); digit != end; ++digit)
        numbered.append(static_cast<char16_t>(*digit));
    return findOrAddChild(child.parent, QStringView(numbered.constData(), numbered.size()));
}

void ParameterTree::setValue(Node node, QStringView value)
{
    entries[node].value = append(value);
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
        const auto found = manyChildren.find(Child {parent, segment});
        return found == manyChildren.end() ? Root : *found;
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
    const Node nextSibling = std::exchange(entries[parent].firstChild, added);
    entries.emplace_back(parent, nextSibling, append(segment));

    const quint32 children = ++entries[parent].children;
    if (children > MostChildrenToLookAt + 1) {
        manyChildren.insert(added);
    } else if (children == MostChildrenToLookAt + 1) {
        for (Node node = added; node != Root; node = entries.at(node).nextSibling)
            manyChildren.insert(node);
    }
    return added;
}

/// Seeded, so that nobody outside can choose segments that meet in one bucket.
size_t ParameterTree::ChildHash::operator()(const Child& child) const
{
    static const size_t seed = QHashSeed::globalSeed();
    // Neighbouring parents get seeds that are far apart.
    constexpr auto spread = static_cast<size_t>(Q_UINT64_C(0x9e3779b97f4a7c15));
    return qHash(child.segment, seed ^ ((size_t(child.parent) + 1) * spread));
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

} // namespace OrvaneInterface
