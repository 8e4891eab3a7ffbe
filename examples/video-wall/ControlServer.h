#pragma once

#include <OrvaneServer.h>

#include <QString>

/// The account for third parties. The password comes from the environment, never from the command line, which other
/// users of the machine can read.
struct ControlAccount {
    /// \a user empty: ORVANE_USER, or else "operator". Without ORVANE_PASSWORD the password is made up for this run.
    explicit ControlAccount(const QString& user);

    QString user;
    QString password;
    bool passwordMadeUp = false;
};

/// Why Orvane could not be served, and what to do about it; both empty when it can.
struct StartUpProblem {
    QString problem;
    QString remedy;

    explicit operator bool() const { return !problem.isEmpty(); }
};

/// Starts to listen, with limits, if clients can be served at all.
StartUpProblem startServing(OrvaneInterface::OrvaneServer& server, quint16 port);
