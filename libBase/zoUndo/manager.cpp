#include <new>

#include "Base/zo_undo.h"
#include "libBase/zoUndo/history.h"

namespace {

// The manager that the application works with. Borrowed; null when none is installed.
zoUndo::Manager* g_installed = nullptr;

zoString::CString menuText(const char* verb, const zoString::CString& name) {
    return name.isEmpty() ? zoString::CString(verb) : zoString::CString(verb) + " " + name;
}

}  // namespace

namespace zoUndo {

Manager::Manager() : history_(std::make_unique<kelvo::zo_undo::History>(*this)) {}

Manager::~Manager() {
    if (g_installed == this) g_installed = nullptr;
    kelvo::zo_undo::dropping([&] { history_->clear(); });
}

Group* Manager::newGroup(Word first, Word second) {
    return isPlaying() ? nullptr : adoptGroup(new Group(first, second));
}
Group* Manager::adoptGroup(Group* group) {
    return history_->insert(group);
}
Group* Manager::getGroup(int index) {
    return history_->group(index);
}
bool Manager::undo() {
    return history_->undo();
}
bool Manager::redo() {
    return history_->redo();
}
void Manager::deleteLastGroup() {
    history_->deleteLast();
}
void Manager::clear() {
    history_->clear();
}

int Manager::numGroups() const noexcept {
    return history_->numGroups();
}
int Manager::numDoneGroups() const noexcept {
    return history_->numDone();
}
bool Manager::canUndo() const noexcept {
    return history_->canUndo();
}
bool Manager::canRedo() const noexcept {
    return history_->canRedo();
}
bool Manager::isPlaying() const noexcept {
    return history_->isPlaying();
}
std::int64_t Manager::numBytesUsed() const noexcept {
    return history_->bytes();
}

zoString::CString Manager::undoName() const {
    return history_->undoName();
}
zoString::CString Manager::redoName() const {
    return history_->redoName();
}
zoString::CString Manager::undoText() const {
    return menuText("Undo", undoName());
}
zoString::CString Manager::redoText() const {
    return menuText("Redo", redoName());
}

void Manager::setByteLimit(std::int64_t bytes) {
    history_->setLimits(bytes, groupLimit());
}
std::int64_t Manager::byteLimit() const noexcept {
    return history_->byteLimit();
}
void Manager::setGroupLimit(int groups) {
    history_->setLimits(byteLimit(), groups);
}
int Manager::groupLimit() const noexcept {
    return history_->groupLimit();
}

void Manager::setClean() {
    history_->setClean();
}
void Manager::setModified() {
    history_->setModified();
}
bool Manager::isClean() const noexcept {
    return history_->isClean();
}

zoRTB::SignalBase& Manager::creationDisableSignal() noexcept {
    return creationDisable_;
}
zoRTB::SignalBase& Manager::groupDestroyedSignal() noexcept {
    return groupDestroyed_;
}
zoRTB::SignalBase& Manager::changedSignal() noexcept {
    return changed_;
}

Manager* newManager() {
    try {
        return new Manager;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Manager* getInstalledManager() {
    return g_installed;
}

void installManager(Manager* manager) {
    g_installed = manager;
}

}  // namespace zoUndo
