#pragma once

#include "OrvaneExport.h"

#include <QtGlobal>

#include <map>
#include <string>
#include <vector>

/// Everything that the library exports.
namespace OrvaneInterface {

// Deliberately no virtual destructor: the library never destroys the host's object, and a destructor would move the
// vtable slots on which compiled hosts depend.
#if defined(Q_CC_GNU)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/**
 * The interface that a host implements so that Orvane can control its video display.
 *
 * Pass the implementation to the OrvaneServer constructor. The host owns it, the library never deletes it, and it must
 * outlive the server. Make the derived class `final`, since this class has no virtual destructor.
 *
 * Every operation is called synchronously, on the thread that owns the server (the host's Qt event loop thread). Two
 * operations never run at the same time for one client. An operation may run a nested event loop, with the effects
 * that docs/hosting.md lists, and it may destroy the server. It must not throw.
 *
 * All strings are UTF-8. The host may modify arguments passed by value, or move from them.
 *
 * Numbers are passed as the client sent them: a missing split id, camera or window id is -1, and text that is not a
 * number is 0. The host decides what to do with numbers that it does not know.
 *
 * The order of the operations is part of the binary interface and never changes.
 */
class ORVANE_INTERFACE_EXPORT OrvaneInterface {
public:
    /// A recorder of the host, as reported by getRecorderList().
    struct ORVANE_INTERFACE_EXPORT RecorderEntry {
        /// Copyable and movable. The strings and the list are initially empty; moving empties those of the source.
        ///@{
        RecorderEntry();
        RecorderEntry(const RecorderEntry& other);
        RecorderEntry(RecorderEntry&& other) noexcept;
        RecorderEntry& operator=(const RecorderEntry& other);
        RecorderEntry& operator=(RecorderEntry&& other) noexcept;
        ~RecorderEntry();
        ///@}

        /// Name of the recorder. All strings of an entry reach the client unescaped, so avoid `"`, `&` and `<`.
        std::string name;
        /// Network address of the recorder, as text.
        std::string ip;
        /// User name for logging in to the recorder. Sent only to clients with the system account.
        std::string userName;
        /// Password for logging in to the recorder. Sent only to clients with the system account.
        std::string password;
        /// Names of the recorder's tracks. The client receives them in this order.
        std::vector<std::string> tracks;
        /// Maximum number of channels of the recorder. Sent only to clients with the system account.
        int maxNumChannels = 0;
    };

    /// A preset of the host, as reported by getPresetsList().
    struct ORVANE_INTERFACE_EXPORT PresetEntry {
        /// Copyable and movable. The name is initially empty; moving empties that of the source.
        ///@{
        PresetEntry();
        PresetEntry(const PresetEntry& other);
        PresetEntry(PresetEntry&& other) noexcept;
        PresetEntry& operator=(const PresetEntry& other);
        PresetEntry& operator=(PresetEntry&& other) noexcept;
        ~PresetEntry();
        ///@}

        /// Name of the preset, as later passed to setPreset(). Reaches the client unescaped.
        std::string name;
    };

    /// Rectangle of a detail view, as the client sent it. Host and client define the coordinate space.
    struct SubsplitRect {
        float ltx = 0; ///< x of the top-left corner
        float lty = 0; ///< y of the top-left corner
        float rbx = 0; ///< x of the bottom-right corner
        float rby = 0; ///< y of the bottom-right corner
    };

    /// Copying and moving have no effect: the class has no data. A server keeps the pointer that it was given.
    ///@{
    OrvaneInterface();
    OrvaneInterface(const OrvaneInterface& other);
    OrvaneInterface(OrvaneInterface&& other) noexcept;
    OrvaneInterface& operator=(const OrvaneInterface& other);
    OrvaneInterface& operator=(OrvaneInterface&& other) noexcept;
    ///@}

    /**
     * Start refreshing the host's recorder list.
     *
     * When it has finished, call OrvaneServer::handleUpdateAllTreeDevicesFinished(), which notifies every client that
     * asked. That call may come before this operation returns.
     *
     * \return true if the refresh was started; false if one is already running; the client is then told at once
     */
    virtual bool updateRecorderContents() = 0;

    /// Append one entry per recorder to \a recorders, which is empty at the call. Clients receive them in this order.
    virtual void getRecorderList(std::vector<RecorderEntry>& recorders) = 0;

    /// Append one entry per preset to \a presets, which is empty at the call. Clients receive them in this order.
    virtual void getPresetsList(std::vector<PresetEntry>& presets) = 0;

    /**
     * Show the live picture of a camera in a split.
     *
     * \param recorder name of the recorder; empty if the client gave none
     * \param camera number of the camera, -1 if the client gave none
     * \param alarm true to show the picture as an alarm
     * \param splitId in: the split that the client asked for, -1 if it gave none; out: the split that was used. The
     *        client is told this value after the call.
     */
    virtual void showLive(std::string recorder, int camera, bool alarm, int& splitId) = 0;

    /**
     * Show the live picture of a camera in a sub-split of a split.
     *
     * \param splitId the split, -1 if the client gave none
     * \param camera number of the camera, -1 if the client gave none
     * \param subsplitIndex the sub-split, -1 if the client gave none
     */
    virtual void showLiveAtSubsplit(int splitId, int camera, int subsplitIndex) = 0;

    /**
     * Play back a track in a split, given the track's name.
     *
     * \param recorder name of the recorder; empty if the client gave none
     * \param trackName name of the track; may be empty
     * \param camera number of the camera, -1 if the client gave none
     * \param time where to start, in the host's unit; -1 if the client gave none
     * \param alarm true to show the picture as an alarm
     * \param splitId in: the split that the client asked for, -1 if it gave none; out: the split that was used. The
     *        client is told this value after the call.
     * \param limitStart start of the playback range, in the host's unit; 0 if the client gave none
     * \param limitEnd end of the playback range, in the host's unit; 0 if the client gave none
     */
    virtual void showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
        int& splitId, qint64 limitStart, qint64 limitEnd) = 0;

    /// Like showTrackByName(), for the track with the id \a trackId (0 if the client's text was not a number).
    virtual void showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) = 0;

    /// Apply the preset named \a presetName, which is empty if the client gave none.
    virtual void setPreset(std::string presetName) = 0;

    /// Switch the display to split mode \a splitMode, which is 0 or greater.
    virtual void setSplitMode(int splitMode) = 0;

    /**
     * Switch a window to a layout that the command document describes.
     *
     * \param windowId the window, -1 if the client gave none
     * \param commandDocument the whole command as received; the host takes what it needs. The client may send anything,
     *        including malformed XML.
     */
    virtual void setSplitModeByName(int windowId, const std::string& commandDocument) = 0;

    /**
     * Show exactly these detail views inside a split.
     *
     * Sub-split ids are 0 or greater. The same id may occur in both maps.
     *
     * \param splitId the split, -1 if the client gave none
     * \param rects the views given as rectangles, by sub-split id. Corners are as the client sent them: both axes may
     *        be reversed, but no rectangle is empty.
     * \param objectIds the views given as tracked objects, by sub-split id; an object id is never 0
     */
    virtual void setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds) = 0;

    /**
     * Answer a free-form query.
     *
     * \param commandDocument the whole command as received; the client may send anything
     * \param answer empty at the call. To reply, set it to the complete reply document in UTF-8. It is sent as it is,
     *        up to its first NUL byte.
     * \return true to send the answer, false to send no reply
     */
    virtual bool getPertinentInfo(const std::string& commandDocument, std::string& answer) = 0;
};

#if defined(Q_CC_GNU)
#pragma GCC diagnostic pop
#endif

/// Shorter name for the rectangle record.
using SubsplitRect = OrvaneInterface::SubsplitRect;

} // namespace OrvaneInterface
