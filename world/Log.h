#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace world {

/// Of the clock with which Qt stamps its lines, too.
int64_t nowUs();
int64_t nowMs();

/// One line of a world's log. All lines go to the standard error, which is a file in memory that outlives the world's
/// process: also those that Qt writes there by itself, inside of a message handler, and the findings of sanitizers.
struct Line {
    std::string type; ///< debug, info, ... as Qt has it, or act, call, peer, broken; empty: nobody here has made it
    std::string category;
    std::string text;
    int64_t ms = 0;
};

/// Makes Qt's lines look as note() does.
void setUpLog();
void note(const char* type, const std::string& text);
void writeLine(const std::string& line);

/// What the acts call a line of the library; "other" for one that it does not write.
std::string kindOfLine(const std::string& line);

std::string readAll(int descriptor);
/// Inside of a handler's loops Qt writes lines without time and category. They get those that they must have.
std::vector<Line> readLog(const std::string& log);

std::vector<std::string> split(const std::string& text, char separator);
/// The value of KEY=VALUE in \a act; empty where there is none.
std::string valueOf(const std::string& act, const std::string& key);

} // namespace world
