#pragma once

#include <QTest>

#include <map>

/// The test classes of orvane-tests, by name.
inline std::map<QString, int (*)(const QStringList& arguments)> TestClasses;

template <typename Test> int runTestClass(const QStringList& arguments)
{
    Test test;
    return QTest::qExec(&test, arguments);
}

/// Instead of QTEST_MAIN.
#define ORVANE_TEST(Test)                                                                                              \
    static const auto Test##_class = TestClasses.emplace(QStringLiteral(#Test), runTestClass<Test>);
