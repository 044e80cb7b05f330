#pragma once

namespace vireo2 {

// What one poll of a track scan's streamed data ("Scan Get Refls") answers.
enum class StreamPoll {
    Failed = -1,   // the scan failed; it has been ended and the cause recorded
    Nothing = 0,   // nothing to collect (a traverse without streamed data ended)
    MoreData = 2,  // readings taken or still coming: poll again
    Complete = 8,  // the instrument has sent everything
};

} // namespace vireo2
