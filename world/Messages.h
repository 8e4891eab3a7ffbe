#pragma once

#include <string>

namespace world {

// A client's messages have letters in the acts:
//   O G W E   a login: with the system account, with the host's, with a wrong password, without fields
//   p l t T   setPreset, showLive, showTrack by name, by id
//   v s m M   setDetailViews, showLiveAtSubsplit, setSplitMode, the same by a document
//   i I n     getPertinentInfo: answered, with a long answer, not answered
//   R P U     getRecorderList, getPresetsList, updateRecorderContents, none of which says to the host whose it is
//   u r e x   an unknown command, showTrack without a track, an empty message, a long setPreset
constexpr const char* Commands = "pltTvsmMiInRPUurex";

/// How a host call and the acts name message \a number of client \a client.
std::string messageId(int client, int number);

std::string messageText(char letter, int client, int number);
/// Whether the host is asked something in which there is an id, or its two numbers: 7002 for c7-m2.
bool callsHost(char letter);
bool isLogin(char letter);
bool isValidLogin(char letter);
/// What stands in the first \a element; empty where there is none.
std::string contentOf(const std::string& document, const std::string& element);
/// What comes back, its end included, to a client that is logged in; nothing for U, whose replies come when they may.
std::string predictedReply(char letter, int client, int number, bool hasSystemAccount);
/// The host's answer to a query, with which \a call was made.
std::string answerTo(const std::string& call);

/// Takes the replies of updateRecorderContents out of \a received. Returns their number.
int takeUpdateReplies(std::string& received);

} // namespace world
