#include "Log.h"

#include <QString>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <unistd.h>
#include <utility>

namespace world {

int64_t nowUs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

int64_t nowMs()
{
    return nowUs() / 1'000;
}

void setUpLog()
{
    // Qt writes lines that come inside the handler of another one through this stream. In one piece, or the lines of
    // other threads end up in the middle.
    static std::array<char, 1 << 20> buffer;
    static_cast<void>(setvbuf(stderr, buffer.data(), _IOLBF, buffer.size()));
    qputenv("QT_FORCE_STDERR_LOGGING", "1");
    qSetMessagePattern(QStringLiteral("%{time boot} %{type} %{category} %{message}"));
}

void note(const char* type, const std::string& text)
{
    const int64_t ms = nowMs();
    const std::string fraction = std::to_string(1'000 + ms % 1'000).substr(1);
    writeLine(std::to_string(ms / 1'000) + "." + fraction + " " + type + " - " + text);
}

void writeLine(const std::string& line)
{
    const std::string whole = line + "\n";
    static_cast<void>(write(STDERR_FILENO, whole.data(), whole.size()) < 0);
}

std::string kindOfLine(const std::string& line)
{
    static constexpr std::array<std::pair<const char*, const char*>, 13> Kinds {{{"New OrvaneConnection", "new"},
        {"OrvaneConnection socket error", "socketerror"}, {"OrvaneConnection server error", "servererror"},
        {"OrvaneConnection received command:", "received"}, {"OrvaneConnection exceeded", "limit"},
        {"OrvaneConnection refused", "refused"}, {"This is Orvane", "orvane"}, {"3rd Party", "invalid"},
        {"Received unknown", "unknown"}, {"OrvaneInterface: received showTrack", "notrack"}, {"\"<", "message"},
        {"\"loginClient\"", "login"}, {"\"", "tls"}}};
    for (const auto& [start, kind] : Kinds)
        if (line.starts_with(start))
            return kind;
    return "other";
}

std::string readAll(int descriptor)
{
    std::ifstream in("/proc/self/fd/" + std::to_string(descriptor));
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Qt writes a line without its time if it comes inside the handler of another.
static bool isTime(const std::string& word)
{
    return word.find('.') != std::string::npos && word.find_first_not_of("0123456789.") == std::string::npos;
}

std::vector<Line> readLog(const std::string& log)
{
    std::vector<Line> lines;
    int64_t last = 0;
    for (const std::string& each : split(log, '\n')) {
        std::istringstream words(each);
        std::string seconds;
        std::string type;
        std::string category;
        if (words >> seconds >> type >> category && isTime(seconds)) {
            last = std::llround(std::stod(seconds) * 1'000);
            const auto text = each.find_first_not_of(' ', static_cast<size_t>(words.tellg()));
            lines.push_back({type, category, text == std::string::npos ? std::string() : each.substr(text), last});
        } else if (each.starts_with('{')) {
            lines.push_back({"info", "orvane.audit", each, last});
        } else {
            lines.push_back({kindOfLine(each) == "other" ? "" : "debug", "default", each, last});
        }
    }
    return lines;
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);)
        parts.push_back(part);
    return parts;
}

std::string valueOf(const std::string& act, const std::string& key)
{
    for (const std::string& each : split(act, ' '))
        if (each.starts_with(key + "="))
            return each.substr(key.size() + 1);
    return {};
}

} // namespace world
