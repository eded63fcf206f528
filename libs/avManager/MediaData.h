#pragma once

class DataBuffer;

/// What a recorder hands to its reader: a frame or chunk in place, with its SampleMeta. Both belong to the recorder's
/// queue until ReleaseData.
struct MediaData {
   DataBuffer *mData = nullptr;
   DataBuffer *mMeta = nullptr; ///< 8 bytes, a SampleMeta
};
