#include "KelvoBase/behaviour.h"

#include <cstring>
#include <new>
#include <utility>

namespace {

// The current instance: owned, null until somebody asks or sets. Never destroyed at unload, because
// a subclass may live in a module that is gone by then.
constinit VelaBehaviour* g_current = nullptr;

// The current instance's answer to `operation`, or that type's zero without an instance.
template <class Result, class Operation>
Result ask(Operation operation) {
    VelaBehaviour* behaviour = VelaBehaviour::get();
    return behaviour ? (behaviour->*operation)() : Result();
}

}  // namespace

VelaBehaviour* VelaBehaviour::get() {
    if (!g_current) g_current = new (std::nothrow) VelaBehaviour;
    return g_current;
}

void VelaBehaviour::set(VelaBehaviour* behaviour) {
    // A loop, because a destructor may ask for the current instance and so make a new one.
    while (g_current && g_current != behaviour) delete std::exchange(g_current, nullptr);
    g_current = behaviour;
}

VelaBehaviour::VelaBehaviour() = default;
VelaBehaviour::VelaBehaviour(const VelaBehaviour&) = default;
VelaBehaviour& VelaBehaviour::operator=(const VelaBehaviour&) = default;
VelaBehaviour::~VelaBehaviour() {
    if (g_current == this) g_current = nullptr;
}

bool VelaBehaviour::isViewer() const {
    return false;
}
bool VelaBehaviour::wantSinglePerspWindow() {
    return isViewer();
}
bool VelaBehaviour::isMultipleKelvoSessionsAllowed() {
    return isViewer();
}
zoString::IString VelaBehaviour::getProductPrefix() {
    return L"Vela";
}
zoString::IString VelaBehaviour::getProductIconName() {
    return L"Vela";
}
bool VelaBehaviour::userInformationEnabled() {
    return !isViewer();
}
bool VelaBehaviour::supportSingleStage() {
    return !isViewer();
}
bool VelaBehaviour::documentSettingsOverrideSessionSettings() {
    return false;
}
bool VelaBehaviour::largeModelingWindowSize() {
    return false;
}
bool VelaBehaviour::paintEnabled() const {
    return false;
}
bool VelaBehaviour::enablePaintUI() const {
    return false;
}
bool VelaBehaviour::paintOnOverlaysOnly() const {
    return false;
}
bool VelaBehaviour::paintAddBookmarkToOverlays() const {
    return false;
}
bool VelaBehaviour::autoKelvoWindows() {
    return false;
}
const char* VelaBehaviour::getUserPrefsFileName() const {
    return "UserPrefs";
}

const char* VelaBehaviour::getUserOptionsFileName() {
    return isViewer() ? "KelvoViewer_user_options" : "user_options";
}

const char* VelaBehaviour::getBrowserPrefsFileName() {
    return isViewer() ? "KelvoViewerBrowserPrefs" : ".VelaBrowserPrefs";
}

const char* VelaBehaviour::getHelpFileName() {
    return isViewer() ? "KelvoViewer.chm" : "Help.hta";
}

zoString::CString VelaBehaviour::getVelaPrefsFilename() const {
    return "VelaPrefs.scm";
}
double VelaBehaviour::modelingWindowScale() {
    return 1.0;
}
bool VelaBehaviour::splashAtStartup() const {
    return false;
}
bool VelaBehaviour::enableNukeAllOnRetrieve() const {
    return isViewer();
}
bool VelaBehaviour::saveOnExit() const {
    return !isViewer();
}
bool VelaBehaviour::hardwareReflectionsEnabled() const {
    return true;
}

bool VelaBehaviour_isViewer(void) {
    return ask<bool>(&VelaBehaviour::isViewer);
}
bool VelaBehaviour_wantSinglePerspWindow(void) {
    return ask<bool>(&VelaBehaviour::wantSinglePerspWindow);
}
bool VelaBehaviour_documentSettingsOverrideSessionSettings(void) {
    return ask<bool>(&VelaBehaviour::documentSettingsOverrideSessionSettings);
}
bool VelaBehaviour_largeModelingWindowSize(void) {
    return ask<bool>(&VelaBehaviour::largeModelingWindowSize);
}
bool VelaBehaviour_paintEnabled(void) {
    return ask<bool>(&VelaBehaviour::paintEnabled);
}
bool VelaBehaviour_enablePaintUI(void) {
    return ask<bool>(&VelaBehaviour::enablePaintUI);
}
bool VelaBehaviour_autoKelvoWindows(void) {
    return ask<bool>(&VelaBehaviour::autoKelvoWindows);
}
double VelaBehaviour_modelingWindowScale(void) {
    return ask<double>(&VelaBehaviour::modelingWindowScale);
}
bool VelaBehaviour_enableNukeAllOnRetrieve(void) {
    return ask<bool>(&VelaBehaviour::enableNukeAllOnRetrieve);
}
bool VelaBehaviour_saveOnExit(void) {
    return ask<bool>(&VelaBehaviour::saveOnExit);
}
const char* VelaBehaviour_getUserPrefsFileName(void) {
    return ask<const char*>(&VelaBehaviour::getUserPrefsFileName);
}
const char* VelaBehaviour_getBrowserPrefsFileName(void) {
    return ask<const char*>(&VelaBehaviour::getBrowserPrefsFileName);
}

char* VelaBehaviour_getProductIconName(void) {
    VelaBehaviour* behaviour = VelaBehaviour::get();
    return behaviour ? strdup(behaviour->getProductIconName().toMultibyte().c_str()) : nullptr;
}
