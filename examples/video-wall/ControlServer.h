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

/// Whether the key pair in this application's resources can be used: the library listens without one all the same, and
/// then no client gets in.
StartUpProblem keyPairProblem();

/// Starts to listen.
StartUpProblem startListening(OrvaneInterface::OrvaneServer& server, quint16 port);
