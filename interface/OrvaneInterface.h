#pragma once

#include "OrvaneExport.h"

#include <QtGlobal>

#include <map>
#include <string>
#include <vector>

/// All that the library exports.
namespace OrvaneInterface {

// The class has virtual operations and, on purpose, no virtual destructor: the library never destroys the host's
// object, and a destructor in the vtable would move the slots on which compiled hosts depend.
#if defined(Q_CC_GNU)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/**
 * What a host application implements so that Orvane can drive its video display.
 *
 * Pass the implementation to the OrvaneServer constructor. It belongs to the host, must outlive the server, and is
 * never deleted by the library; derive from it with a `final` class, since it has no virtual destructor.
 *
 * Every operation is called synchronously, on the thread that owns the server (the host's Qt event-loop thread), never
 * two at a time for one client. An operation may run an event loop of its own: commands of other clients can then be
 * called inside it, while further commands of the same client wait until it returns. It may also end the client's
 * connection or destroy the server. It must not throw.
 *
 * All texts are UTF-8. Arguments by value are the host's to change or move from.
 *
 * Numbers come from the client as they are: an absent split id, camera or window id is -1, and text that is not a
 * number is 0. What the host makes of a number that it does not know is its own affair.
 *
 * The order of the operations is part of the binary interface and never changes.
 */
class ORVANE_INTERFACE_EXPORT OrvaneInterface {
public:
    /// One recorder of the host, as getRecorderList() reports it.
    struct ORVANE_INTERFACE_EXPORT RecorderEntry {
        /// At first all texts and the list are empty. Copied and moved as usual; an entry that was moved from is empty.
        ///@{
        RecorderEntry();
        RecorderEntry(const RecorderEntry& other);
        RecorderEntry(RecorderEntry&& other) noexcept;
        RecorderEntry& operator=(const RecorderEntry& other);
        RecorderEntry& operator=(RecorderEntry&& other) noexcept;
        ~RecorderEntry();
        ///@}

        /// Name of the recorder; the texts of an entry reach the client unescaped, so no `"`, `&` or `<` in them.
        std::string name;
        /// Network address of the recorder, as text.
        std::string ip;
        /// User name for logging in to the recorder. Only a client with the system account sees it.
        std::string userName;
        /// Password for logging in to the recorder. Only a client with the system account sees it.
        std::string password;
        /// Names of the recorder's tracks, in the order to report.
        std::vector<std::string> tracks;
        /// Maximum number of channels of the recorder. Only a client with the system account sees it.
        int maxNumChannels = 0;
    };

    /// One preset of the host, as getPresetsList() reports it.
    struct ORVANE_INTERFACE_EXPORT PresetEntry {
        /// At first the name is empty. Copied and moved as usual; an entry that was moved from is empty.
        ///@{
        PresetEntry();
        PresetEntry(const PresetEntry& other);
        PresetEntry(PresetEntry&& other) noexcept;
        PresetEntry& operator=(const PresetEntry& other);
        PresetEntry& operator=(PresetEntry&& other) noexcept;
        ~PresetEntry();
        ///@}

        /// Name of the preset, the one that setPreset() is called with; reaches the client unescaped.
        std::string name;
    };

    /// A detail view's rectangle, as the client sent it. The coordinate space belongs to host and client.
    struct SubsplitRect {
        float ltx = 0; ///< x of the left-top corner
        float lty = 0; ///< y of the left-top corner
        float rbx = 0; ///< x of the right-bottom corner
        float rby = 0; ///< y of the right-bottom corner
    };

    /// The class has no data, so there is nothing to copy or to move. A server keeps its pointer to the object it has.
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
     * When the refresh has finished, call OrvaneServer::handleUpdateAllTreeDevicesFinished(); every client that asked
     * is then told. That call may come before this operation returns.
     *
     * \return true when the refresh was started; false when one is already running, which the client is told at once.
     */
    virtual bool updateRecorderContents() = 0;

    /// Append one entry for each recorder to \a recorders (empty at the call), in the order to report.
    virtual void getRecorderList(std::vector<RecorderEntry>& recorders) = 0;

    /// Append one entry for each preset to \a presets (empty at the call), in the order to report.
    virtual void getPresetsList(std::vector<PresetEntry>& presets) = 0;

    /**
     * Show the live picture of a camera in a split.
     *
     * \param recorder name of the recorder; empty when the client gave none
     * \param camera number of the camera, -1 when the client gave none
     * \param alarm true when the picture is to be shown as an alarm
     * \param splitId in: the split that the client wants, -1 when it gave none; out: the split that was used. The
     *        client is told the value after the call.
     */
    virtual void showLive(std::string recorder, int camera, bool alarm, int& splitId) = 0;

    /**
     * Show the live picture of a camera in a sub-split of a split.
     *
     * \param splitId the split, -1 when the client gave none
     * \param camera number of the camera, -1 when the client gave none
     * \param subsplitIndex the sub-split, -1 when the client gave none
     */
    virtual void showLiveAtSubsplit(int splitId, int camera, int subsplitIndex) = 0;

    /**
     * Play back the track with a name in a split.
     *
     * \param recorder name of the recorder; empty when the client gave none
     * \param trackName name of the track; may be empty
     * \param camera number of the camera, -1 when the client gave none
     * \param time where to start, in the host's unit; -1 when the client gave none
     * \param alarm true when the picture is to be shown as an alarm
     * \param splitId in: the split that the client wants, -1 when it gave none; out: the split that was used. The
     *        client is told the value after the call.
     * \param limitStart begin of the playback range, in the host's unit; 0 when the client gave none
     * \param limitEnd end of the playback range, in the host's unit; 0 when the client gave none
     */
    virtual void showTrackByName(std::string recorder, std::string trackName, int camera, qint64 time, bool alarm,
        int& splitId, qint64 limitStart, qint64 limitEnd) = 0;

    /// As showTrackByName(), for the track with the id \a trackId (0 when the client's text was not a number).
    virtual void showTrackById(std::string recorder, int trackId, int camera, qint64 time, bool alarm, int& splitId,
        qint64 limitStart, qint64 limitEnd) = 0;

    /// Apply the preset with the name \a presetName, empty when the client gave none.
    virtual void setPreset(std::string presetName) = 0;

    /// Switch the display to the split mode \a splitMode, a number of 0 or more.
    virtual void setSplitMode(int splitMode) = 0;

    /**
     * Switch a window to a layout that the command document describes.
     *
     * \param windowId the window, -1 when the client gave none
     * \param commandDocument the whole command as received, from which the host takes what it wants; client text that
     *        may be anything, XML that is not well-formed included
     */
    virtual void setSplitModeByName(int windowId, const std::string& commandDocument) = 0;

    /**
     * Show exactly these detail views inside a split.
     *
     * A sub-split id is 0 or more; one id may stand in both maps.
     *
     * \param splitId the split, -1 when the client gave none
     * \param rects the views given as rectangles, by sub-split id. The corners come as the client sent them: both axes
     *        may be reversed, but none has no extent.
     * \param objectIds the views given as tracked objects, by sub-split id; no object id is 0
     */
    virtual void setDetailViews(int splitId, std::map<int, SubsplitRect> rects, std::map<int, qint64> objectIds) = 0;

    /**
     * Answer a free-form query.
     *
     * \param commandDocument the whole command as received; client text that may be anything
     * \param answer empty at the call. On true it holds the complete reply document, which is sent to the client as it
     *        is, up to its first NUL byte.
     * \return false when the client is to get no reply at all
     */
    virtual bool getPertinentInfo(const std::string& commandDocument, std::string& answer) = 0;
};

#if defined(Q_CC_GNU)
#pragma GCC diagnostic pop
#endif

/// The rectangle record under its shorter name.
using SubsplitRect = OrvaneInterface::SubsplitRect;

} // namespace OrvaneInterface
