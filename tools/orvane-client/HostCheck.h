#pragma once

#include "CommandRequest.h"
#include "HostNames.h"
#include "HostSession.h"
#include "Reply.h"

#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <optional>
#include <vector>

namespace OrvaneClient {

class Console;

/// Plays the commands of the protocol against a host, the harmless ones first, and tells of each what came and what it
/// means for whoever writes the host. Console and session belong to the caller and live longer.
class HostCheck : public QObject {
    Q_OBJECT

public:
    HostCheck(HostSession& session, Console& console, const Options& options);

Q_SIGNALS:
    void ended(ExitStatus status);

private:
    enum class Verdict { AsItShouldBe, Doubtful, Wrong, Skipped };
    struct Finding {
        Verdict verdict;
        QString what; ///< came
        QString meaning = {};
    };
    using Judge = Finding (HostCheck::*)(ExitStatus result) const;
    struct Step {
        QStringList words; ///< the command
        Judge judge;
        bool changesDisplay = false;
    };

    void begin();
    void tellOfStrangers(bool areAnswered);
    void next();
    void addStepsThatChangeTheDisplay();
    void handleFinished(ExitStatus result, const QString& reason);
    void handleBroken(ExitStatus result, const QString& reason);
    void tell(const QString& name, const Finding& finding, const QString& time = {});

    bool isAsTheLibraryWritesIt() const;
    Finding certificateFinding() const;
    Finding rejectionFinding(ExitStatus result) const;
    Finding missingTrackFinding(ExitStatus result) const;
    Finding listFinding(ExitStatus result) const;
    Finding questionFinding(ExitStatus result) const;
    Finding acceptanceFinding(ExitStatus result) const;
    Finding splitFinding(ExitStatus result) const;
    Finding refreshFinding(ExitStatus result) const;
    Finding failure() const;

    HostSession& session;
    Console& console;
    const Options& options;
    std::vector<Step> steps;
    size_t step = 0;
    HostNames names;
    std::optional<Reply> reply; ///< the last one to the present command
    int replies = 0; ///< to it
    QString problem;
    QElapsedTimer sinceSent;
    bool isAllRight = true;
    bool isDoubtful = false;
};

} // namespace OrvaneClient
