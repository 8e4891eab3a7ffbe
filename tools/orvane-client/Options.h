#pragma once

#include "Outcome.h"
#include "ReplyFormat.h"
#include "ServerTrust.h"

#include <QCommandLineOption>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace OrvaneClient {

enum class Action {
    Help,
    CommandHelp, ///< words: "help", and perhaps a command
    Version,
    ShowCertificate,
    OneCommand,
    Check, ///< of a host
    Lines, ///< commands from the terminal or from a pipe
};

enum class Account { None, System, Named };

/// What the command line asks for, checked; the password comes from elsewhere.
struct Options {
    Action action = Action::Lines;
    QString host;
    quint16 port = 0;
    std::chrono::milliseconds timeout {0};
    ServerTrust trust = ServerTrust::systemAuthorities();
    Account account = Account::System;
    QString user;
    QString passwordFile; ///< empty: the password comes from elsewhere
    QStringList words; ///< the command with its parameters
    QString fileName; ///< or the file of its document; "-" is standard input
    QString waitFor;
    bool noReply = false;
    bool trace = false;
    int repetitions = 0; ///< of the command; 0: it is sent once, and its answer printed
    bool applies = false; ///< the check plays also what changes the display
    bool isForced = false; ///< also what the protocol does not have is sent
    std::optional<ReplyFormat> format; ///< unset: as it fits the output
};

/// The options that the program knows, for reading them and for the help.
QList<QCommandLineOption> programOptions();

/// \a arguments begin with the program's name.
Result<Options> readOptions(const QStringList& arguments);

} // namespace OrvaneClient
