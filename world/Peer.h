#pragma once

#include "Messages.h"
#include "Shared.h"

#include <openssl/types.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace world {

/// One client, which is not Qt: TLS over memory, so that its bytes can be cut, held back and spoilt at will.
///
/// Its act: client ID at=MS tls=12|13 cert=none|good|strange STEP... The steps, one after the other:
///   hello             the whole handshake              junk:N    N bytes that are no TLS
///   send:HOW:LETTERS  messages; HOW: one (one write, records as long as they get), pieces (records and writes cut
///                     anywhere), held (in one write with the end behind it)
///   wait              for all replies that are due     sleep:MS
///   surplus:MB        junk for as long as it is taken  mute      reads no more
///   witness           one command after the other, the wait for each reply measured, until the others are done
///   storm:MS          connects others and resets them at once, again and again
/// The end, which is also the way in which it goes where no other is given:
///   close   close_notify, FIN, reads until the end     fin       the same without close_notify
///   notify  close_notify, reads what is due, then FIN  notified  close_notify, then goes on with the steps
///   reset   RST                                        leave     close_notify, and closes the socket at once
class Peer {
public:
    Peer(const std::string& act, Shared& shared);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// What poll() shall wait for.
    short events() const;
    int descriptor() const { return fd; }
    bool isWitness() const { return steps.back() == "witness"; }
    /// Does what can be done now.
    void advance(int64_t nowMs, short happened);

    struct Call {
        std::string id; ///< of the message that makes it
        int record; ///< messages with the same number of 0 or more are in one TLS record, which is read as a whole
    };

    // For those who judge, once it is done:
    int id;
    std::string certificate;
    std::string address; ///< its own, with port
    std::vector<std::string> steps;
    std::vector<Call> asked; ///< what the host is to be called for, in the order of sending
    std::vector<std::string> logins; ///< as the audit trail is to have them
    std::string predicted; ///< all replies
    int64_t longest = 0; ///< length of a message
    int64_t unsent = 0; ///< length of the replies, if it were logged in from the beginning
    int updates = 0; ///< updateRecorderContents
    std::string received; ///< without the replies of updateRecorderContents
    int updateReplies = 0;
    int64_t connectedAt = 0; ///< 0: never
    int64_t doneAt = 0; ///< 0: not yet
    bool handshakeDone = false; ///< the handshake is done
    bool orderly = false; ///< it has sent all and ended in an orderly way before the host did, and read until the end
    bool sentCloseNotify = false; ///< orderly, with a close_notify
    bool endedByHost = false;
    bool gotStuck = false;
    bool sentNonTls = false; ///< sent what is no TLS

private:
    static constexpr int64_t NotifyPatienceMs = 3'000;
    using Step = bool (Peer::*)(); ///< does what it can; whether it is done
    static Step stepOf(const std::string& name);

    bool hello();
    bool junk();
    bool send();
    bool wait() { return hasAllReplies(); }
    bool sleep() { return now - stepSince >= std::stoi(argument); }
    bool mute() { return muted = true; }
    bool sendSurplus();
    bool witness();
    bool storm();
    bool notified() { return sentNonTls = sendCloseNotify(); }
    bool reset();
    bool leave() { return sendCloseNotify() && finish(); }
    bool close() { return sendCloseNotify() && fin(); }
    bool notify() { return sendCloseNotify() && (hasAllReplies() || now - stepSince >= NotifyPatienceMs) && fin(); }
    bool fin();

    bool advanceStep();
    void sendMessages(const std::string& how, const std::string& letters);
    void putIntoTls(const std::string& text);
    bool sendCloseNotify(); ///< true
    bool hasAllReplies() const { return received.size() >= predicted.size(); }
    bool connectAgain();
    void hasProgressed();
    bool isStuck() const;
    bool finish(); ///< false: no step comes after it
    void read();
    size_t put(const char* bytes, size_t size);
    void writeOut();
    void collect(); ///< what TLS has made

    Shared& shared;
    int fd;
    SSL* tls;
    BIO* incoming; ///< owned by tls, as outgoing
    BIO* outgoing;
    std::mt19937 random;
    std::string outbox;
    size_t step = 0;
    std::string argument; ///< of the step
    int64_t now = 0;
    int64_t startAt;
    int64_t triedAt = 0; ///< to connect, in vain
    int progress = 0; ///< the turn of its last one
    int64_t stepSince;
    int messages = 0;
    bool admitted = false; ///< it has sent a valid login
    bool hasSystemAccount = false;
    size_t surplus = 0;
    int64_t askedAtUs = 0; ///< by a witness; 0: nothing
    bool inPieces = false;
    bool muted = false;
    bool held = false; ///< what is to leave waits for what comes with it
    bool ended = false; ///< the host, or the network, has ended the connection
    bool endedInTls = false;
    bool finSent = false;
};

/// Before there are threads: what all clients with these certificates have in common.
void makeClientContexts();

/// Plays clients until they are done.
void play(const std::vector<std::unique_ptr<Peer>>& peers, Shared& shared);

} // namespace world
