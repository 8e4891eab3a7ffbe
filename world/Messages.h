#pragma once

#include <string>

namespace world {

// The acts write a client's messages as letters:
//   O G W E   a login: with the system account, with the host's, with a wrong password, without fields
//   p l t T   setPreset, showLive, showTrack by name, by id
//   v s m M   setDetailViews, showLiveAtSubsplit, setSplitMode, the same by a document
//   i I n     getPertinentInfo: answered, with a long answer, not answered
//   R P U     getRecorderList, getPresetsList, updateRecorderContents, which give the host no id
//   u r e x   an unknown command, showTrack without a track, an empty message, a long setPreset
constexpr const char* Commands = "pltTvsmMiInRPUurex";

/// The name of message \a number of client \a client in host calls and acts.
std::string messageId(int client, int number);

std::string messageText(char letter, int client, int number);
/// Whether it makes a host call that has the id, or its two numbers in one: 7002 for c7-m2.
bool callsHost(char letter);
bool isLogin(char letter);
bool isValidLogin(char letter);
/// The content of the first \a element; empty if there is none.
std::string contentOf(const std::string& document, const std::string& element);
/// The reply to a logged-in client, with its terminator; empty for U, whose replies may come at any time.
std::string predictedReply(char letter, int client, int number, bool hasSystemAccount);
/// The host's answer to the query of \a call.
std::string answerTo(const std::string& call);

/// Takes the replies of updateRecorderContents out of \a received. Returns their number.
int takeUpdateReplies(std::string& received);

} // namespace world
