#include "Base/zo_rtb.h"

namespace zoRTB {
namespace {

// Whoever ends a connection corrects the records that run, so that none holds a callback that has
// gone. They live on the stack of the emission.

// One running call of a callback.
struct Call {
    Call* const outer;       // the one around this, of whatever signal
    FunctionBase* callback;  // null once it has been deleted

    explicit Call(FunctionBase& called);
    ~Call();
    static bool isRunning(const FunctionBase& callback);
};

// One running way through the callbacks of a signal.
struct Walk {
    Walk* const outer;   // the one around this, of whatever signal
    FunctionBase* next;  // to be called; null: none
    FunctionBase* last;  // the last one to be called; later ones are newer than the emission

    Walk(FunctionBase& first, FunctionBase& newest);
    ~Walk();
};

// The innermost records of this thread. They are few and short: looking through them when a
// connection ends costs less than an entry in signal and callback for every emission.
struct Running {
    Call* call = nullptr;
    Walk* walk = nullptr;
};
[[gnu::tls_model("initial-exec")]] thread_local Running t_running;

Call::Call(FunctionBase& called) : outer(t_running.call), callback(&called) {
    t_running.call = this;
}

// Runs for exceptions too.
Call::~Call() {
    t_running.call = outer;
    if (callback && !callback->isConnected() && !isRunning(*callback)) callback->release();
}

bool Call::isRunning(const FunctionBase& callback) {
    for (const Call* c = t_running.call; c; c = c->outer)
        if (c->callback == &callback) return true;
    return false;
}

Walk::Walk(FunctionBase& first, FunctionBase& newest)
    : outer(t_running.walk), next(&first), last(&newest) {
    t_running.walk = this;
}

Walk::~Walk() {
    t_running.walk = outer;
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

void FunctionBase::invoke(void* argument) {
    const Call running(*this);
    call(argument);
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
    if (!Call::isRunning(callback)) callback.release();
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

// The signal may be gone after any call; from there on only the walk knows what is left.
void SignalBase::emitToSeveral(void* argument) {
    Walk walk(*callbacks_, *callbacks_->previous_);
    const auto callTheRest = [&] {
        while (walk.next) {
            FunctionBase& now = *walk.next;
            walk.next = &now == walk.last ? nullptr : now.next_;
            now.invoke(argument);
        }
    };
    try {
        callTheRest();
    } catch (...) {
        while (walk.next) try {
                callTheRest();
            } catch (...) {  // the first one goes on
            }
        throw;
    }
}

int SignalBase::numCallbacks() const noexcept {
    int count = 0;
    for (const FunctionBase* f = callbacks_; f; f = f->next_ == callbacks_ ? nullptr : f->next_)
        ++count;
    return count;
}

}  // namespace zoRTB
