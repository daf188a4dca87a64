// Drive C in a directory of its own, with the project "shots" in C:\work\.
#pragma once

#include <filesystem>
#include <string>

#include "Base/zo_os_path.h"
#include "KelvoBase/db_filename.h"
#include "tests/support/temporary_directory.h"

namespace kelvo::test {

/// While it lives, drive C and the current project are here; the project's directory exists and is
/// empty.
class Sandbox {
  public:
    Sandbox() {
        zoOS::setDriveRoot('C', directory_.path().c_str());
        std::filesystem::create_directories(directory_ / "work/shots");
        setProject("C:\\work\\", "shots", "C:\\cwd");
    }
    ~Sandbox() {
        setProject("", "", "");
        zoOS::setDriveRoot('C', nullptr);
    }

    static void setProject(const char* path, const char* name, const char* workingDirectory) {
        Db_set_project_path(path);
        Db_set_project_name(name);
        Db_set_vl_cwd(workingDirectory);
        Db_init_paths();
    }

    /// The path of `name`, a path on drive C without the drive, for the system.
    std::string operator/(const std::string& name) const { return directory_ / name; }
    std::string list(const std::string& below) const { return directory_.list(below); }
    /// Makes a file, and its directory.
    void file(const std::string& name, const std::string& content = "x") const {
        std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
        writeFile(*this / name, content);
    }

  private:
    TemporaryDirectory directory_;
};

}  // namespace kelvo::test
