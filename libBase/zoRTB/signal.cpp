#include "libBase/zoRTB/emission.h"

using kelvo::zo_rtb::Call;
using kelvo::zo_rtb::Emission;
using kelvo::zo_rtb::t_running;
using kelvo::zo_rtb::Walk;

namespace zoRTB {
namespace {

bool isRunning(const FunctionBase& callback) {
    for (const Call* c = t_running.call; c; c = c->outer)
        if (c->callback == &callback) return true;
    return false;
}

// Circular lists through two members of their items; the head is the first item.
using Link = FunctionBase* FunctionBase::*;

void append(FunctionBase*& head, FunctionBase& item, Link previous, Link next) {
    if (!head) head = item.*previous = item.*next = &item;
    FunctionBase* last = head->*previous;
    item.*previous = last;
    item.*next = head;
    last->*next = head->*previous = &item;
}

void remove(FunctionBase*& head, FunctionBase& item, Link previous, Link next) {
    (item.*previous)->*next = item.*next;
    (item.*next)->*previous = item.*previous;
    if (head == &item) head = item.*next == &item ? nullptr : item.*next;
}

}  // namespace

FunctionBase::~FunctionBase() {
    SignalBase::detach(*this);
    for (Call* c = t_running.call; c; c = c->outer)
        if (c->callback == this) c->callback = nullptr;
}

void FunctionBase::release() {
    delete this;
}

// Takes the callback out of both lists; running walks pass over it.
void SignalBase::detach(FunctionBase& callback) noexcept {
    if (SignalBase* emitter = callback.emitter_) {
        for (Walk* w = t_running.walk; w; w = w->outer) {
            const bool wasLast = w->last == &callback;
            if (w->next == &callback) w->next = wasLast ? nullptr : callback.next_;
            if (wasLast) w->last = callback.previous_;
        }
        remove(emitter->callbacks_, callback, &FunctionBase::previous_, &FunctionBase::next_);
        callback.emitter_ = nullptr;
    }
    if (callback.owner_) {
        remove(callback.owner_->owned_, callback, &FunctionBase::ownedPrevious_,
               &FunctionBase::ownedNext_);
        callback.owner_ = nullptr;
    }
}

// Ends a connection; a running call releases the callback afterwards.
void SignalBase::dispose(FunctionBase& callback) {
    detach(callback);
    if (!isRunning(callback)) callback.release();
}

SignalBase::~SignalBase() {
    // Destructors of callbacks may end further connections: look at the heads again each time.
    while (owned_) dispose(*owned_);
    while (callbacks_) dispose(*callbacks_);
}

void SignalBase::addCallback(FunctionBase* callback) {
    if (!callback) return;
    detach(*callback);
    callback->emitter_ = this;
    append(callbacks_, *callback, &FunctionBase::previous_, &FunctionBase::next_);
}

void SignalBase::addCallback(FunctionBase* callback, SignalBase& owner) {
    if (!callback) return;
    addCallback(callback);
    callback->owner_ = &owner;
    append(owner.owned_, *callback, &FunctionBase::ownedPrevious_, &FunctionBase::ownedNext_);
}

void SignalBase::emitToAll(void* argument) {
    Emission::emitToAll(*callbacks_, argument);
}

int SignalBase::numCallbacks() const noexcept {
    int count = 0;
    for (const FunctionBase* f = callbacks_; f; f = f->next_ == callbacks_ ? nullptr : f->next_)
        ++count;
    return count;
}

}  // namespace zoRTB

namespace kelvo::zo_rtb {

constinit thread_local Running t_running = {nullptr, nullptr};

void releaseEnded(zoRTB::FunctionBase& callback) {
    if (!zoRTB::isRunning(callback)) callback.release();
}

void Emission::emitToSeveral(zoRTB::FunctionBase& first, void* argument) {
    for (Walk walk(first, *first.previous_); walk.next;) {
        zoRTB::FunctionBase& now = *walk.next;
        walk.next = &now == walk.last ? nullptr : now.next_;
        const Call call(now);
        now.call(argument);
    }
}

Walk::Walk(zoRTB::FunctionBase& first, zoRTB::FunctionBase& newest) noexcept
    : outer(t_running.walk), next(&first), last(&newest) {
    t_running.walk = this;
}

Walk::~Walk() {
    t_running.walk = outer;
}

}  // namespace kelvo::zo_rtb
