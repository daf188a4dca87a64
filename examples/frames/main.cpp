// A project on a drive of its own: pictures of a sequence are written, found again and listed.
#include <Base/zo_os_path.h>
#include <KelvoBase/db_filename.h>
#include <KelvoBase/file_operations.h>
#include <KelvoBase/vl_filename.h>
#include <KelvoBase/win32_directory.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

// Drive C is a directory of this system; everything else speaks of C:\.
void openProject(const std::filesystem::path& drive) {
    std::filesystem::create_directories(drive / "work/shots");
    zoOS::setDriveRoot('C', drive.c_str());
    Db_set_project_path("C:\\work\\");
    Db_set_project_name("shots");
    Db_init_paths();
}

void writeFrame(const char* name) {
    char path[263];
    expand_filename(path, name, PIX_DATA);  // C:\work\shots\pix\..., with its directory
    std::ofstream(zoOS::nativePath(path).str()) << name;
}

void list(int type) {
    std::string path = Db_default_path(type)->path;
    path.resize(path.size() + 2);  // room for the backslash behind a bare drive
    win32_DIR* const directory = win32_opendir(path.data());
    std::set<std::string> names;
    while (const win32_dirent* const entry = win32_readdir(directory)) names.insert(entry->d_name);
    win32_closedir(directory);
    for (const std::string& name : names) std::printf("  %s\n", name.c_str());
}

}  // namespace

int main() {
    char place[] = "/tmp/frames_XXXXXX";
    zoOS::makeUniqueName(place);
    openProject(place);
    for (const char* name : {"ball.8", "ball.09", "ball.0010", "ball.0011.Z"}) writeFrame(name);
    std::printf("in %s\n", Db_default_path(PIX_DATA)->path);
    list(PIX_DATA);

    VL_Filename frame("ball.8", PIX_DATA);
    for (int number = frame.Frame(); frame.CheckStatus(); frame.setFrame(++number)) {
        char path[263];
        frame.Filename(path);
        std::printf("frame %d is %s\n", number, path);
    }
    std::printf("no frame %d\n", frame.Frame());

    const bool kept = zoFileCopy("C:\\work\\shots\\pix\\ball.8", "C:\\work\\first", false) != 0;
    std::printf("%s\n", kept ? "the first one is kept in C:\\work" : "not copied");
    std::filesystem::remove_all(place);
}
