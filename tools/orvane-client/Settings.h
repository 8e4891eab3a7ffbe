#pragma once

#include "Protocol.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <chrono>

namespace OrvaneClient {

/// The user's options: from the command line, else from the profile, else from the environment.
class Settings {
public:
    /// \a arguments: without the program's name.
    explicit Settings(const QStringList& arguments);

    bool has(const char* option) const { return values.contains(QString::fromLatin1(option)); }
    /// Empty if the option is not given.
    QString get(const char* option) const { return values.value(QString::fromLatin1(option)); }
    /// The value of an option in seconds; 5 s if it is not given.
    std::chrono::milliseconds duration(const char* option) const;
    QString address() const { return QStringLiteral("%1:%2").arg(host).arg(port); }

    QStringList words; ///< the command with its parameters
    QString task; ///< "one command", "lines of commands", or a command of the client: help, watch or check
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = OrvaneInterface::DefaultPort;

private:
    QMap<QString, QString> parse(const QStringList& arguments);
    void overlay(const QMap<QString, QString>& given);
    void readAddress(const QString& text, QString portText);
    void readTask();

    QMap<QString, QString> values; ///< by the long names of the options
};

/// The text of --help.
QString programHelp();

} // namespace OrvaneClient
