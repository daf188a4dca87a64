// File names of a kind, and frames of numbered sequences (shot.0001, shot.0002 ...).
//   1. A name whose last part is a dot and digits stands for a frame; so does one with ".Z" behind
//      that. The object then holds the part before the dot and the frame number.
//   2. Looking a name up expands it into the project (db_filename.h) and tries the file itself, the
//      file with ".Z", and for pictures and masks what the application's hook proposes; for a frame
//      it does so with the number zero-filled to 1, 2, 3 ... digits.
//   3. The object owns its texts (MA_free). Nothing is printed but by debug().
#pragma once

#include "KelvoBase/ds_structures.h"
#include "KelvoBase/kelvo_api.h"
#include "KelvoBase/vl_datatypes.h"

/// A file name of a kind. Copies share the texts of the original: only one object of all copies
/// may be destroyed, named anew or assigned to.
class KELVO_API VL_Filename {
  public:
    /// As setFilename, with no frame number (-1) until a name brings one.
    VL_Filename(const char* name = "", int type = PIX_DATA);
    ~VL_Filename();
    VL_Filename(const VL_Filename&) = default;
    VL_Filename& operator=(const VL_Filename&) = default;

    /// Takes another name; null leaves the object without any. The frame number stays when the name
    /// has none. Always 1.
    long setFilename(const char* name);
    /// Chooses a frame; returns the one before. Another than before makes this a sequence.
    int setFrame(int frame);

    /// The frame number; -1 when none was ever set.
    int Frame() const { return frame_; }
    /// The name, owned by the object; null for a sequence.
    char* Filename() const { return filename_; }
    /// The name before the dot and number of a sequence, else the name. Owned by the object.
    char* BaseFilename() const { return basename_ != nullptr ? basename_ : filename_; }
    /// 1 when this stands for a frame of a sequence.
    long Sequence() const { return sequence_; }

    /// Looks the file up. 1 with its path in `out`, or 0 (then `out` is the last path tried, for a
    /// sequence the expanded base name, or untouched when there is no name). Quotes around the name
    /// are taken off in the object too. `out` has room for 263 bytes and for what an absolute name
    /// becomes: base name, dot, number, ".Z" and terminator.
    long Filename(char* out) const;
    /// 1 when the file exists, else 0.
    long CheckStatus() const;

    /// Does nothing and returns 1.
    long getFrameRange(DS_Structure** frames) const;
    /// The range that frames may have: -1 in `first`, 2147483647 in `last` (either may be null);
    /// `step` is left alone. Always 1.
    long getFrameRange(int* first, int* last, int* step) const;

    /// Shows the members on standard output. "Expanded" is the path of a file that was not found.
    void debug() const;

  private:
    char* filename_;         // owned, of malloc; null for a sequence
    char* basename_;         // owned, of MA_malloc; null for a plain name
    std::int32_t sequence_;  // 0 or 1
    std::int32_t frame_;
    std::int32_t type_;
    std::int32_t width_;  // one digit more than this is tried
};

extern "C" {

/// Asks the application for the file behind the name of a picture: what the hook returns, a path
/// that the caller releases with MA_free, or null. Null without a hook.
KELVO_API char* Ar_expand_pixname(const char* name, int flag);

/// Installs the hook of Ar_expand_pixname, which gets the same arguments; null removes it. The path
/// it returns is of MA_malloc or malloc.
KELVO_API void rtbInit_Ar_expand_pixname(char* (*hook)(const char* name, int flag));

}  // extern "C"
