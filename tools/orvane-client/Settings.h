#pragma once

#include "Protocol.h"
#include "Reply.h"
#include "Trust.h"

namespace OrvaneClient {

enum class Action {
    Help,
    Version,
    CommandHelp, ///< words: "help", and perhaps a command
    ShowCertificate,
    Forget,
    OneCommand,
    Check,
    Watch, ///< words: "watch", and perhaps a command
    Lines, ///< commands from the terminal or from a pipe
};

/// What the user wants: the options of the command line, and those of profile and environment that it does not have.
class Settings {
public:
    /// \a arguments: without the program's name.
    explicit Settings(const QStringList& arguments);

    bool has(const char* option) const { return values.contains(QString::fromLatin1(option)); }
    /// Empty if the option is not given.
    QString get(const char* option) const { return values.value(QString::fromLatin1(option)); }
    QString address() const { return QStringLiteral("%1:%2").arg(host).arg(port); }
    std::chrono::milliseconds timeoutFor(const Expectation& expectation) const;

    QStringList words; ///< the command with its parameters
    Action action = Action::Lines;
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = OrvaneInterface::DefaultPort;
    Trust trust;
    std::chrono::milliseconds connectTimeout = std::chrono::seconds(5);
    std::chrono::milliseconds interval = std::chrono::seconds(5); ///< of a watch
    ReplyFormat format;

private:
    void overlay(const QMap<QString, QString>& given);
    void readAddress(const QString& text, QString portText);
    void readAction();

    QMap<QString, QString> values; ///< by the long names of the options
};

/// All of --help.
QString programHelp();

} // namespace OrvaneClient
