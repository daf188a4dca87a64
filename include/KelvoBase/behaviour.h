// Application behaviour: the one place where code asks which kind of application it runs in.
//   1. The base class answers for the full application. A viewer installs a subclass whose
//      isViewer() is true; every answer that depends on it follows by itself.
//   2. The library owns the current instance: VelaBehaviour::set() destroys the one before. The
//      last one is left alone when the library unloads.
//   3. File names that come back as `const char*` are static and never freed.
//   4. The order of the virtual functions is part of the binary interface: append, never insert.
//   5. Main thread only: there are no locks.
#pragma once

#include "Base/zo_string.h"
#include "KelvoBase/kelvo_api.h"

/// What an application may answer differently; the base class holds the usual answers.
class KELVO_API VelaBehaviour {
  public:
    /// The current instance; one of the base class is made when there is none. Null only when
    /// memory runs out.
    static VelaBehaviour* get();
    /// Destroys the current instance, then makes `behaviour`, allocated with new, the current one
    /// and owns it. Null leaves none, so the next get() makes a fresh base instance. Setting the
    /// current instance again does nothing.
    static void set(VelaBehaviour* behaviour);

    /// Destroying the current instance by other means than set() leaves none.
    virtual ~VelaBehaviour();

    /// Whether this is the viewer. Base answer: false.
    virtual bool isViewer() const;
    /// One perspective window instead of four views. Base answer: isViewer().
    virtual bool wantSinglePerspWindow();
    /// Whether several sessions may run at once. Base answer: isViewer().
    virtual bool isMultipleKelvoSessionsAllowed();
    /// Prefix of the product's names. Base answer: "Vela".
    virtual zoString::IString getProductPrefix();
    /// Name of the product's icon. Base answer: "Vela".
    virtual zoString::IString getProductIconName();
    /// Whether information for the user is collected and shown. Base answer: not isViewer().
    virtual bool userInformationEnabled();
    /// Whether there is a single stage. Base answer: not isViewer().
    virtual bool supportSingleStage();
    /// Whether a document's settings win over the session's. Base answer: false.
    virtual bool documentSettingsOverrideSessionSettings();
    /// Whether the modelling window opens large. Base answer: false.
    virtual bool largeModelingWindowSize();
    /// Whether painting is available. Base answer: false.
    virtual bool paintEnabled() const;
    /// Whether the painting interface is shown. Base answer: false.
    virtual bool enablePaintUI() const;
    /// Whether painting is kept to overlays. Base answer: false.
    virtual bool paintOnOverlaysOnly() const;
    /// Whether painting adds a bookmark to overlays. Base answer: false.
    virtual bool paintAddBookmarkToOverlays() const;
    /// Whether windows are laid out automatically. Base answer: false.
    virtual bool autoKelvoWindows();
    /// File of the user's preferences. Base answer: "UserPrefs".
    virtual const char* getUserPrefsFileName() const;
    /// File of the user's options: "KelvoViewer_user_options" for a viewer, else "user_options".
    virtual const char* getUserOptionsFileName();
    /// File of the browser's preferences: "KelvoViewerBrowserPrefs" for a viewer, else
    /// ".VelaBrowserPrefs".
    virtual const char* getBrowserPrefsFileName();
    /// Help file: "KelvoViewer.chm" for a viewer, else "Help.hta".
    virtual const char* getHelpFileName();
    /// File of the application's preferences. Base answer: "VelaPrefs.scm".
    virtual zoString::CString getVelaPrefsFilename() const;
    /// Factor on the size of the modelling window. Base answer: 1.0.
    virtual double modelingWindowScale();
    /// Whether a splash screen opens at start-up. Base answer: false.
    virtual bool splashAtStartup() const;
    /// Whether everything may be deleted when a file is retrieved. Base answer: isViewer().
    virtual bool enableNukeAllOnRetrieve() const;
    /// Whether work is saved on exit. Base answer: not isViewer().
    virtual bool saveOnExit() const;
    /// Whether reflections are drawn in hardware. Base answer: true.
    virtual bool hardwareReflectionsEnabled() const;

  protected:
    VelaBehaviour();
    VelaBehaviour(const VelaBehaviour& other);
    VelaBehaviour& operator=(const VelaBehaviour& other);
};

// The current instance for code that does not know the class: each function asks
// VelaBehaviour::get() and returns that operation's answer (false, 0.0 or null when there is no
// memory for an instance).
extern "C" {

/// See VelaBehaviour::isViewer.
KELVO_API bool VelaBehaviour_isViewer(void);
/// See VelaBehaviour::wantSinglePerspWindow.
KELVO_API bool VelaBehaviour_wantSinglePerspWindow(void);
/// See VelaBehaviour::documentSettingsOverrideSessionSettings.
KELVO_API bool VelaBehaviour_documentSettingsOverrideSessionSettings(void);
/// See VelaBehaviour::largeModelingWindowSize.
KELVO_API bool VelaBehaviour_largeModelingWindowSize(void);
/// See VelaBehaviour::paintEnabled.
KELVO_API bool VelaBehaviour_paintEnabled(void);
/// See VelaBehaviour::enablePaintUI.
KELVO_API bool VelaBehaviour_enablePaintUI(void);
/// See VelaBehaviour::autoKelvoWindows.
KELVO_API bool VelaBehaviour_autoKelvoWindows(void);
/// See VelaBehaviour::modelingWindowScale.
KELVO_API double VelaBehaviour_modelingWindowScale(void);
/// See VelaBehaviour::enableNukeAllOnRetrieve.
KELVO_API bool VelaBehaviour_enableNukeAllOnRetrieve(void);
/// See VelaBehaviour::saveOnExit.
KELVO_API bool VelaBehaviour_saveOnExit(void);
/// See VelaBehaviour::getUserPrefsFileName. Not freed by the caller.
KELVO_API const char* VelaBehaviour_getUserPrefsFileName(void);
/// See VelaBehaviour::getBrowserPrefsFileName. Not freed by the caller.
KELVO_API const char* VelaBehaviour_getBrowserPrefsFileName(void);
/// See VelaBehaviour::getProductIconName. A UTF-8 copy from malloc, which the caller gives to
/// free(); null when memory runs out.
KELVO_API char* VelaBehaviour_getProductIconName(void);

}  // extern "C"
