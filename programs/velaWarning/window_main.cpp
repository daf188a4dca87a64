// velaWarningQt: the window of velaWarning, which starts it with its own command line and reads how
// it ended from the exit code (message.h).
#include <sys/prctl.h>
#include <unistd.h>

#include <QApplication>
#include <csignal>
#include <string>

#include "programs/velaWarning/message.h"
#include "programs/velaWarning/options.h"
#include "programs/velaWarning/warning_window.h"

namespace {

using namespace kelvo::velaWarning;

// A display whose host does not answer would hold the user up for minutes.
constexpr unsigned kDisplaySeconds = 15;

// The terminal dialog takes over when the window fails, so its troubles are nobody's business.
void handleMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& /*text*/) {
    if (type == QtFatalMsg) _exit(kWindowFailed);
}

// Platforms that show nothing, as a variable of the environment may ask for.
bool isVisiblePlatform() {
    const QString name = QGuiApplication::platformName();
    return name != "offscreen" && name != "minimal" && name != "vnc";
}

}  // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);  // a window without its velaWarning is of no use
    Message message;
    std::string mistake;
    if (parseOptions(argc, argv, message, mistake) != Request::kShow) return kWindowFailed;
    qInstallMessageHandler(handleMessage);
    alarm(kDisplaySeconds);
    int noOptions = 1;  // Qt would take some of ours for its own
    QApplication application(noOptions, argv);
    alarm(0);
    if (!isVisiblePlatform()) return kWindowFailed;
    WarningWindow window(message);
    window.show();
    window.raise();
    window.activateWindow();
    return kWindowClosed + window.exec();
}
