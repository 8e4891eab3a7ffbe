#include "ComparisonTable.h"

#include <QTextStream>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int WhatWidth = 58;
constexpr int NumberWidth = 12;
constexpr int FactorWidth = 9;

QString rowText(const QString& what, const QString& figure, const QString& limit, const QString& factor,
    const QString& atMost, const QString& limitedBy)
{
    return what.leftJustified(WhatWidth) + figure.rightJustified(NumberWidth) + limit.rightJustified(NumberWidth)
        + factor.rightJustified(FactorWidth) + atMost.rightJustified(FactorWidth) + "  "_L1 + limitedBy + u'\n';
}

QString number(double value, const QString& unit)
{
    return QString::number(value, 'f', value < 100 ? 2 : 0) + u' ' + unit;
}

QString times(double factor)
{
    return QString::number(factor, 'f', 2) + " x"_L1;
}

} // namespace

void ComparisonTable::printHeading()
{
    QTextStream(stdout) << rowText(u"what"_s, u"measured"_s, u"limit"_s, u"factor"_s, u"at most"_s, u"the limit is"_s);
}

void ComparisonTable::print() const
{
    QTextStream out(stdout);
    for (const Row& row : rows) {
        const double factor = row.figure / row.limit;
        out << rowText(row.what, number(row.figure, row.unit), number(row.limit, row.unit), times(factor),
            row.atMost ? times(*row.atMost) + (factor > *row.atMost ? " !"_L1 : "  "_L1) : QString(), row.limitedBy);
    }
}
