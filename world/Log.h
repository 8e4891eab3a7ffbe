#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace world {

/// Times of the clock with which Qt stamps its lines.
int64_t nowUs();
int64_t nowMs();

/// One line of a world's log. All lines go to standard error, a file in memory that outlives the world's process. So do
/// those that Qt writes there by itself, inside a message handler, and the findings of sanitizers.
struct Line {
    std::string type; ///< debug, info, ... as in Qt, or act, call, peer, broken; empty: of unknown origin
    std::string category;
    std::string text;
    int64_t ms = 0;
};

/// Gives Qt's lines the format of note().
void setUpLog();
void note(const char* type, const std::string& text);
void writeLine(const std::string& line);

/// The name of a line of the library in acts; "other" if the library does not write such a line.
std::string kindOfLine(const std::string& line);

std::string readAll(int descriptor);
/// Qt writes lines without time and category if they come inside a handler's loop. They get the time of the line
/// before, and the category that their text must have.
std::vector<Line> readLog(const std::string& log);

std::vector<std::string> split(const std::string& text, char separator);
/// The value of KEY=VALUE in \a act; empty if there is none.
std::string valueOf(const std::string& act, const std::string& key);

} // namespace world
