#pragma once

#include "Messages.h"

#include <openssl/types.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace world {

/// One client, which is not Qt: TLS over memory, so that its bytes can be cut, held back and spoilt at will.
///
/// Its act: client ID slot=S at=MS tls=12|13 cert=none|good|strange STEP... The steps, one after the other:
///   hello             the whole handshake              half      the first half of a ClientHello
///   junk:N            N bytes that are no TLS          bad       a record with a bit turned round
///   send:HOW:LETTERS  messages; HOW: one (one write, records as long as they get), burst (a record and a write each),
///                     pieces (records and writes cut anywhere), held (in one write with the end behind it)
///   wait              for all replies that are due     sleep:MS
///   keyupdate         with a request for the host's    mute      reads no more
///   surplus:MB        junk for as long as it is taken
/// The end, which is also the way in which it goes where no other is given:
///   close   close_notify, FIN, reads until the end     fin       the same without close_notify
///   notify  close_notify, reads what is due, then FIN  notified  close_notify, then goes on with the steps
///   reset   RST                                        leave     close_notify, and closes the socket at once
class Peer {
public:
    Peer(const std::string& act, int descriptor, uint16_t port);
    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    /// What poll() shall wait for.
    short events() const;
    int descriptor() const { return fd; }
    /// Does what can be done now.
    void advance(int64_t now, short happened);

    struct Message {
        char letter;
        bool admitted; ///< a valid login of its client came before
        bool hasSystemAccount;
        int record; ///< messages with the same number of 0 or more are in one TLS record, which is read as a whole
    };

    // For those who judge, once it is done:
    int id = 0;
    int slot = 0;
    std::string certificate;
    std::string address; ///< its own, with port
    std::vector<std::string> steps;
    std::vector<Message> messages; ///< in the order of sending; number N has the index N
    std::string received;
    int64_t connectedAt = 0; ///< 0: never
    int64_t handshakeAt = 0;
    int64_t doneAt = 0; ///< 0: not yet
    bool orderly = false; ///< it has sent all and ended in an orderly way before the host did, and read until the end
    bool saidGoodbye = false; ///< orderly, with a close_notify
    bool endedByHost = false;
    bool waitedInVain = false;
    bool hasSpoilt = false; ///< sent what is no TLS

private:
    bool stepIsDone(int64_t now); ///< does what of the present step can be done
    bool endIsDone(const std::string& how, int64_t now);
    bool greet();
    bool send(const std::string& how, const std::string& letters);
    bool hasAllReplies() const;
    void connectNow(int64_t now);
    void finish();
    void read();
    void writeOut();
    void collect(); ///< what TLS has made
    void addJunk(size_t size);

    int fd;
    uint16_t port;
    SSL* tls;
    BIO* incoming; ///< owned by tls, as outgoing
    BIO* outgoing;
    std::mt19937 random;
    std::string outbox;
    std::string heldBack; ///< the rest of half a ClientHello
    size_t step = 0;
    int phase = 0; ///< of the present step
    int64_t startAt;
    int64_t stepSince = 0;
    size_t due = 0; ///< length of all replies that are predicted
    bool connecting = false;
    bool greeted = false;
    bool inPieces = false;
    bool muted = false;
    bool held = false; ///< what is to leave waits for what comes with it
    bool ended = false; ///< the host, or the network, has ended the connection
    bool endedInTls = false;
    bool finSent = false;
    size_t surplus = 0;
};

} // namespace world
