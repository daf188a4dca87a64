#include "Base/zo_rtb.h"

namespace zoRTB {

// One running emit(), on its stack. Whoever ends a connection corrects the emissions it touches, so
// that none holds a callback or a signal that has gone.
struct Emission {
    Emission* const outer;  // the one around this, of whatever signal
    SignalBase* signal;     // null once the signal has died
    FunctionBase* current;  // being called; null once it has been deleted
    FunctionBase* next;     // to be called after it; null: none
    FunctionBase* last;     // the last one to be called; later ones are newer than emit()

    Emission(SignalBase& emitter, FunctionBase* first, FunctionBase* newest);
    ~Emission();
    bool advance() { return next && enterNext(); }
    // Out of line: most signals have one callback, and most calls end no connection.
    [[gnu::noinline]] bool enterNext();
    [[gnu::noinline]] void leave();
    static bool isCalling(const FunctionBase& callback);
};

namespace {

// The innermost running emission of this thread. Emissions are few and short: looking through them
// when a connection ends costs less than an entry in signal and callback for every emission.
[[gnu::tls_model("initial-exec")]] thread_local Emission* t_running = nullptr;

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
    for (Emission* e = t_running; e; e = e->outer)
        if (e->current == this) e->current = nullptr;
}

void FunctionBase::release() {
    delete this;
}

// Takes the callback out of both lists; running emissions pass over it.
void SignalBase::detach(FunctionBase& callback) noexcept {
    if (SignalBase* emitter = callback.emitter_) {
        for (Emission* e = t_running; e; e = e->outer) {
            if (e->signal != emitter) continue;
            const bool wasLast = e->last == &callback;
            if (e->next == &callback) e->next = wasLast ? nullptr : callback.next_;
            if (wasLast) e->last = callback.previous_;
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

// Ends a connection; the emission that is calling the callback releases it afterwards.
void SignalBase::dispose(FunctionBase& callback) {
    detach(callback);
    if (!Emission::isCalling(callback)) callback.release();
}

SignalBase::~SignalBase() {
    for (Emission* e = t_running; e; e = e->outer)
        if (e->signal == this) e->signal = nullptr, e->next = nullptr;
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
    // The signal may be gone after any call; from here on only the emission looks at it.
    Emission emission(*this, callbacks_, callbacks_->previous_);
    do emission.current->call(argument);
    while (emission.advance());
}

Emission::Emission(SignalBase& emitter, FunctionBase* first, FunctionBase* newest)
    : outer(t_running),
      signal(&emitter),
      current(first),
      next(first == newest ? nullptr : first->next_),
      last(newest) {
    t_running = this;
}

// Runs for exceptions too.
Emission::~Emission() {
    t_running = outer;
    if (current && !current->emitter_) leave();
}

bool Emission::enterNext() {
    leave();
    if (!next) return false;
    current = next;
    next = current == last ? nullptr : current->next_;
    return true;
}

// Releases the callback if its connection has ended and no emission is calling it any more.
void Emission::leave() {
    FunctionBase* callback = current;
    current = nullptr;
    if (callback && !callback->emitter_ && !isCalling(*callback)) callback->release();
}

bool Emission::isCalling(const FunctionBase& callback) {
    for (const Emission* e = t_running; e; e = e->outer)
        if (e->current == &callback) return true;
    return false;
}

int SignalBase::numCallbacks() const noexcept {
    int count = 0;
    for (const FunctionBase* f = callbacks_; f; f = f->next_ == callbacks_ ? nullptr : f->next_)
        ++count;
    return count;
}

}  // namespace zoRTB
