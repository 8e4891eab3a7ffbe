#pragma once

#include "Messages.h"
#include "Shared.h"

#include <openssl/types.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace world {

/// One client, without Qt: TLS over memory, so that its bytes can be split, held back and corrupted at will.
///
/// Its act: client ID at=MS tls=12|13 cert=none|good|strange STEP... The steps, one after the other:
///   hello             the whole handshake              junk:N    N bytes that are not TLS
///   send:HOW:LETTERS  messages; HOW: one (one write, records as long as possible), pieces (records and writes cut
///                     anywhere), held (in one write with the end after it)
///   wait              for all expected replies         sleep:MS
///   keys:N            N changes of the TLS keys, each of which asks for an answer; stops reading
///   doomed            goes on with changes of the keys until the host has ended it
///   surplus:MB        junk, while the host takes it    mute      stops reading
///   witness           command after command, measures the wait for each reply, until the others are done
///   storm:MS          connects other sockets and resets them at once, again and again
/// The end, reset if none is given:
///   close   close_notify, FIN, reads until the end     fin       the same without close_notify
///   notify  close_notify, reads all replies, then FIN  notified  close_notify, then goes on with the steps
///   reset   RST                                        leave     close_notify, and closes the socket at once
class Peer {
public:
    Peer(const std::string& act, Shared& shared);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// What poll() should wait for.
    short events() const;
    int descriptor() const { return fd; }
    bool isWitness() const { return steps.back() == "witness"; }
    /// Does what can be done now.
    void advance(int64_t nowMs, short happened);

    struct Call {
        std::string id; ///< of the message that makes it
        int record; ///< messages with the same number, 0 or more, share a TLS record, which is read as a whole
    };

    // For the judgement, once it is done:
    int id;
    std::string certificate;
    std::string address; ///< its own, with port
    std::vector<std::string> steps;
    std::vector<Call> asked; ///< the expected host calls, in the order of sending
    std::vector<std::string> logins; ///< as the audit trail should have them
    std::string predicted; ///< all expected replies
    int64_t longest = 0; ///< length of the longest message
    int64_t unsent = 0; ///< length of the replies, if it were logged in from the start, and of TLS's answers
    int updates = 0; ///< times that it sent updateRecorderContents
    std::string received; ///< without the replies of updateRecorderContents
    int updateReplies = 0;
    int64_t connectedAt = 0; ///< 0: never
    int64_t doneAt = 0; ///< 0: not yet
    bool admitted = false; ///< it has sent a valid login
    bool handshakeDone = false;
    bool orderly = false; ///< it sent everything, ended in order before the host did, and read until the end
    bool delivered = false; ///< it closed before the host did, whose system had received everything
    bool sentCloseNotify = false;
    bool endedByHost = false;
    bool gotStuck = false;
    bool sentNonTls = false; ///< or went on after close_notify

private:
    static constexpr int64_t NotifyPatienceMs = 3'000;
    using Step = bool (Peer::*)(); ///< does what it can; returns whether it is done
    static Step stepOf(const std::string& name);

    bool hello();
    bool junk();
    bool send();
    bool wait() { return hasAllReplies(); }
    bool sleep() { return now - stepSince >= std::stoi(argument); }
    bool mute() { return muted = true; }
    bool changeKeys();
    bool doomed();
    bool sendSurplus();
    bool witness();
    bool storm();
    bool notified() { return sentNonTls = sendCloseNotify(); }
    bool reset();
    bool leave();
    bool close() { return sendCloseNotify() && fin(); }
    bool notify() { return sendCloseNotify() && (hasAllReplies() || now - stepSince >= NotifyPatienceMs) && fin(); }
    bool fin();

    bool advanceStep();
    void sendMessages(const std::string& how, const std::string& letters);
    void putIntoTls(const std::string& text);
    bool sendCloseNotify(); ///< always true
    bool hasAllReplies() const { return received.size() >= predicted.size(); }
    bool connectAgain();
    void hasProgressed();
    bool isStuck() const;
    bool isAllReceived() const;
    bool finish(); ///< always false: no step follows
    void read();
    size_t put(const char* bytes, size_t size);
    void writeOut();
    void collect(); ///< takes what TLS has written

    Shared& shared;
    int fd;
    SSL* tls;
    BIO* incoming; ///< owned by tls, like outgoing
    BIO* outgoing;
    std::mt19937 random;
    std::string outbox;
    size_t step = 0;
    std::string argument; ///< of the current step
    int64_t now = 0;
    int64_t startAt;
    int64_t triedAt = 0; ///< the last failed attempt to connect
    int progress = 0; ///< the turn of its last progress
    int64_t stepSince;
    int messages = 0;
    bool hasSystemAccount = false;
    size_t surplus = 0;
    int keys = 0; ///< changes that the step has made
    int64_t askedAtUs = 0; ///< by a witness; 0: it is not waiting
    bool inPieces = false;
    bool muted = false;
    bool held = false; ///< the output waits for the end, to leave with it
    bool ended = false; ///< the host, or the network, has ended the connection
    bool endedInTls = false;
    bool finSent = false;
};

/// Makes the TLS contexts that clients share. Call it before there are threads.
void makeClientContexts();

/// Plays the clients until all are done.
void play(const std::vector<std::unique_ptr<Peer>>& peers, Shared& shared);

} // namespace world
