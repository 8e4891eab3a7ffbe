#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

class QCommandLineParser;

namespace OrvaneClient {

/**
 * Where the value of an option comes from: the command line, the environment, or a profile, in this order.
 *
 * In the environment "ca" is ORVANE_CA. A profile is a section of profiles.ini, with the options' long names as keys.
 */
class Settings {
public:
    /// Reads the profile, if --profile names one. Check fault() first.
    explicit Settings(const QCommandLineParser& parser);

    /// What is wrong with the profile; empty when nothing is.
    const QString& fault() const { return problem; }

    bool isOnCommandLine(const QString& name) const;
    bool isFromProfile(const QString& name) const;
    /// From the first place that has it; else the option's default.
    QString valueOf(const QString& name) const;
    /// The options of a list that the first place has that has any of them. Those of later places do not count.
    QStringList firstOf(const QStringList& names) const;

    /// The names of all profiles.
    static QStringList profiles();

private:
    static QString profilesFile();
    void readProfile(const QString& name);

    const QCommandLineParser& parser;
    QMap<QString, QString> environment;
    QMap<QString, QString> profile;
    QString problem;
};

} // namespace OrvaneClient
