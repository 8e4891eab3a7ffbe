#pragma once

#include <OrvaneServer.h>

#include <QString>

/// The account for third parties. The password comes from the environment, never from the command line, which other
/// users of the machine can read.
struct ControlAccount {
    /// If \a user is empty: ORVANE_USER, else "operator". Without ORVANE_PASSWORD a password is made up for this run.
    explicit ControlAccount(const QString& user);

    QString user;
    QString password;
    bool passwordMadeUp = false;
};

/// Why Orvane cannot be served, and the remedy; both empty if it can.
struct StartUpProblem {
    QString problem;
    QString remedy;

    explicit operator bool() const { return !problem.isEmpty(); }
};

/// Starts to listen, with limits, if clients can be served at all.
StartUpProblem startServing(OrvaneInterface::OrvaneServer& server, quint16 port);
