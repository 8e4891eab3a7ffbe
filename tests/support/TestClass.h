#pragma once

#include <QTest>

#include <map>

/// A test class of orvane-tests, by its name.
class TestClass {
public:
    template <typename Test> static TestClass of()
    {
        return TestClass(Test::staticMetaObject.className(), [](const QStringList& arguments) {
            Test test;
            return QTest::qExec(&test, arguments);
        });
    }

    using Run = int (*)(const QStringList& arguments);
    static std::map<QString, Run>& all()
    {
        static std::map<QString, Run> classes;
        return classes;
    }

private:
    TestClass(const char* name, Run run) { all()[QString::fromLatin1(name)] = run; }
};

/// Instead of QTEST_MAIN.
#define ORVANE_TEST(Test) static const TestClass Test##_class = TestClass::of<Test>();
