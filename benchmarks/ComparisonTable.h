#pragma once

#include <QList>
#include <QString>

#include <optional>

/**
 * The output of the benchmarks: each figure next to its limit, both measured in the same run.
 *
 * The rows of one program make one table; several programs print one after the other.
 */
class ComparisonTable {
public:
    struct Row {
        QString what;
        double figure; ///< in the unit
        QString limitedBy;
        double limit; ///< in the unit
        QString unit;
        std::optional<double> atMost; ///< times the limit; if unset, the limit is only for comparison
    };

    void add(const Row& row) { rows.append(row); }
    void print() const;

    static void printHeading();

private:
    QList<Row> rows;
};
