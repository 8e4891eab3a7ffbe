#pragma once

#include "LineSource.h"

#include <QSocketNotifier>
#include <QString>

#include <optional>

namespace OrvaneClient {

/// Lines that a person edits at a prompt, with completion and a history that outlives the program. The line editor has
/// global state, so there is at most one.
class TerminalLineSource : public LineSource {
    Q_OBJECT

public:
    explicit TerminalLineSource(QObject* parent);
    ~TerminalLineSource() override;
    Q_DISABLE_COPY_MOVE(TerminalLineSource)

    void askForLine() override;
    bool isInteractive() const override { return true; }
    void remember(const QByteArray& line) override;
    void setValuesOfKeys(const ValuesOfKey& values) override { valuesOf = values; }
    void hide() override;
    void restore() override;

private:
    static void handleEditedLine(char* line);
    static char** completeWord(const char* word, int start, int end);
    void takePromptAway();
    void openHistory();
    void watchSignals();
    void handleSignals();
    void dropLine();

    QSocketNotifier keys;
    QString historyFile;
    ValuesOfKey valuesOf = [](const QString&) { return QStringList(); };
    bool promptShown = false;
    bool completes = false;
};

/// Asks for a password at the terminal of the process, without showing it. Nothing when there is no terminal, or when
/// the user breaks off. Blocks until the user has answered.
std::optional<QString> askForPassword(const QString& user);

} // namespace OrvaneClient
