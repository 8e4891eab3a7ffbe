#include "TestClass.h"

#include <QCoreApplication>
#include <QTextStream>

/// Runs the test class that the first argument names. The others are those of QtTest.
int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments();
    const auto known = TestClasses.find(arguments.value(1));
    if (known != TestClasses.end()) {
        arguments.removeAt(1);
        return known->second(arguments);
    }
    QTextStream error(stderr);
    error << "Usage: orvane-tests CLASS [OPTION]... [FUNCTION[:ROW]]...\nClasses:\n";
    for (const auto& [name, run] : TestClasses)
        error << "  " << name << '\n';
    return 2;
}
