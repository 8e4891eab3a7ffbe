#pragma once

#include <string>
#include <vector>

namespace world {

// A client's messages have letters in the acts:
//   O G W E   a login: with the system account, with the host's, with a wrong password, without fields
//   p l t T   setPreset, showLive, showTrack by name, by id
//   v s m M   setDetailViews, showLiveAtSubsplit, setSplitMode, the same by a document
//   i I n     getPertinentInfo: answered, with a long answer, not answered
//   R P U     getRecorderList, getPresetsList, updateRecorderContents, none of which says to the host whose it is
//   u r e x   an unknown command, showTrack without a track, an empty message, a long setPreset
constexpr const char* Commands = "pltTvsmMiInRPUurex";
constexpr size_t LongMessage = 30'000;
constexpr size_t LongAnswer = 20'000;

/// How a host call and the acts name message \a number of client \a client.
std::string messageId(int client, int number);
/// The first id in a document; empty where there is none.
std::string idInside(const std::string& document);

std::string messageText(char letter, int client, int number);
/// Whether the host is asked something in which there is an id.
bool callsHost(char letter);
bool isLogin(char letter);
bool isValidLogin(char letter);
/// What comes back, its end included, to a client that is logged in; nothing for U, whose replies come when they may.
std::string predictedReply(char letter, int client, int number, bool hasSystemAccount);
/// The host's answer to a query.
std::string answerTo(const std::string& document);

/// Takes the replies of updateRecorderContents out of \a received. Returns their number.
int takeUpdateReplies(std::string& received);

} // namespace world
