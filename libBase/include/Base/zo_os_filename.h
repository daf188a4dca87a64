// Names of files and directories, as text: nothing here asks the system whether they exist.
#pragma once

#include "Base/base_api.h"
#include "Base/zo_string.h"

namespace zoOS {

/// The name of a file or directory. A value; an empty name stands for "none given".
class BASE_API Filename {
  public:
    /// The empty name.
    Filename() = default;
    /// Takes the text as it is.
    Filename(const zoString::CString& path) : path_(path) {}

    /// What stands between the parts of a path here: '/'.
    static char separator() noexcept;

    /// `name` inside `directory`, with one separator between them; a separator (or backslash) that
    /// ends the directory serves, those that begin the name are dropped. An empty directory gives
    /// the name as it is.
    static zoString::CString join(const zoString::CString& directory,
                                  const zoString::CString& name);

    /// The text given.
    const zoString::CString& path() const noexcept { return path_; }
    bool isEmpty() const noexcept { return path_.isEmpty(); }

  private:
    zoString::CString path_;
};

}  // namespace zoOS
