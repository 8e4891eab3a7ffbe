#include "Log.h"

#include <QString>

#include <algorithm>
#include <array>
#include <chrono>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace world {

int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void setUpLog()
{
    qputenv("QT_FORCE_STDERR_LOGGING", "1");
    qSetMessagePattern(QStringLiteral("%{time boot} %{type} %{category} %{message}"));
}

void note(const char* type, const std::string& text)
{
    const int64_t ms = nowMs();
    std::string stamp = std::to_string(ms % 1000);
    stamp.insert(0, 3 - stamp.size(), '0');
    writeLine(std::to_string(ms / 1000) + "." + stamp + " " + type + " - " + text);
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
        if (line.rfind(start, 0) == 0)
            return kind;
    return "other";
}

std::string readAll(int descriptor)
{
    struct stat status { };
    fstat(descriptor, &status);
    std::string all(static_cast<size_t>(status.st_size), '\0');
    const ssize_t count = pread(descriptor, all.data(), all.size(), 0);
    all.resize(count < 0 ? 0 : static_cast<size_t>(count));
    return all;
}

std::vector<Line> readLog(int descriptor)
{
    std::vector<Line> lines;
    int64_t last = 0;
    for (const std::string& each : split(readAll(descriptor), "\n")) {
        const size_t point = each.find('.');
        const size_t type = each.find(' ', std::min(point, each.find_first_not_of(' ')));
        const size_t category = each.find(' ', type + 1);
        const size_t text = each.find(' ', category + 1);
        const bool isStamped = point != std::string::npos && type == point + 4 && category != std::string::npos
            && text != std::string::npos && each.find_first_not_of(" .0123456789") > point;
        if (isStamped) {
            last = std::stoll(each) * 1000 + std::stoll(each.substr(point + 1));
            lines.push_back({last, each.substr(type + 1, category - type - 1),
                each.substr(category + 1, text - category - 1), each.substr(text + 1)});
        } else if (each[0] == '{') {
            lines.push_back({last, "info", "orvane.audit", each});
        } else {
            lines.push_back({last, kindOfLine(each) == "other" ? "" : "debug", "default", each});
        }
    }
    while (!lines.empty() && lines.back().type.empty() && lines.back().text.empty())
        lines.pop_back();
    return lines;
}

std::vector<std::string> split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> parts;
    size_t begin = 0;
    for (size_t end = 0; (end = text.find(separator, begin)) != std::string::npos; begin = end + separator.size())
        parts.push_back(text.substr(begin, end - begin));
    parts.push_back(text.substr(begin));
    return parts;
}

std::string valueOf(const std::string& act, const std::string& key)
{
    const size_t at = act.find(" " + key + "=");
    if (at == std::string::npos)
        return {};
    const size_t begin = at + key.size() + 2;
    return act.substr(begin, act.find(' ', begin) - begin);
}

} // namespace world
