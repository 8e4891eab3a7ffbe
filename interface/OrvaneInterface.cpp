#include "OrvaneInterface.h"

#include <utility>

// Out of line, so that the library exports these functions and no host compiles in its own copy.
namespace OrvaneInterface {

OrvaneInterface::OrvaneInterface() = default;
OrvaneInterface::OrvaneInterface(const OrvaneInterface& other) = default;
OrvaneInterface::OrvaneInterface(OrvaneInterface&& other) noexcept = default;
OrvaneInterface& OrvaneInterface::operator=(const OrvaneInterface& /*other*/) = default;
OrvaneInterface& OrvaneInterface::operator=(OrvaneInterface&& /*other*/) noexcept = default;

// The moves guarantee what standard containers do not: a moved-from record is empty, and a self-move changes nothing,
// because each member is taken out before it is assigned.

OrvaneInterface::RecorderEntry::RecorderEntry() = default;
OrvaneInterface::RecorderEntry::RecorderEntry(const RecorderEntry& other) = default;
OrvaneInterface::RecorderEntry& OrvaneInterface::RecorderEntry::operator=(const RecorderEntry& other) = default;
OrvaneInterface::RecorderEntry::~RecorderEntry() = default;

OrvaneInterface::RecorderEntry::RecorderEntry(RecorderEntry&& other) noexcept
{
    *this = std::move(other);
}

OrvaneInterface::RecorderEntry& OrvaneInterface::RecorderEntry::operator=(RecorderEntry&& other) noexcept
{
    name = std::exchange(other.name, {});
    ip = std::exchange(other.ip, {});
    userName = std::exchange(other.userName, {});
    password = std::exchange(other.password, {});
    tracks = std::exchange(other.tracks, {});
    maxNumChannels = other.maxNumChannels;
    return *this;
}

OrvaneInterface::PresetEntry::PresetEntry() = default;
OrvaneInterface::PresetEntry::PresetEntry(const PresetEntry& other) = default;
OrvaneInterface::PresetEntry& OrvaneInterface::PresetEntry::operator=(const PresetEntry& other) = default;
OrvaneInterface::PresetEntry::~PresetEntry() = default;

OrvaneInterface::PresetEntry::PresetEntry(PresetEntry&& other) noexcept
{
    *this = std::move(other);
}

OrvaneInterface::PresetEntry& OrvaneInterface::PresetEntry::operator=(PresetEntry&& other) noexcept
{
    name = std::exchange(other.name, {});
    return *this;
}

} // namespace OrvaneInterface
