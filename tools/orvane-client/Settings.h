#pragma once

#include "Protocol.h"
#include "Reply.h"
#include "Trust.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>
#include <utility>

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

/// What the user wants, from command line, profile and environment, checked.
struct Settings {
    Action action = Action::Lines;
    QString host = QStringLiteral("127.0.0.1");
    quint16 port = OrvaneInterface::DefaultPort;
    std::optional<std::chrono::milliseconds> timeout; ///< unset: the default of what is waited for
    std::chrono::milliseconds interval = std::chrono::seconds(5);
    std::pair<QString, QString> trustOption; ///< and its value
    Trust trust;
    bool logsIn = true;
    QString user; ///< null: the system account
    QString passwordFile; ///< empty: the password comes from elsewhere; "-" is standard input
    QStringList words; ///< the command with its parameters
    QString fileName; ///< or the file of its document; "-" is standard input
    QString waitFor;
    bool noReply = false;
    bool retries = false; ///< until the host can be reached
    bool traces = false;
    bool applies = false; ///< check also plays what changes the display
    bool isForced = false; ///< what the protocol does not have is sent, too
    std::optional<ReplyFormat> format; ///< unset: what fits the output

    QString address() const { return QStringLiteral("%1:%2").arg(host).arg(port); }
    std::chrono::milliseconds connectTimeout() const;
    std::chrono::milliseconds timeoutFor(const Expectation& expectation) const;
};

/// All of --help.
QString programHelp();

/// \a arguments: without the program's name.
Settings readSettings(const QStringList& arguments);

} // namespace OrvaneClient
