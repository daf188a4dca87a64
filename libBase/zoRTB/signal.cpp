#include "Base/zo_rtb.h"

namespace zoRTB {

// One running emit(), on its stack. Whoever ends a connection corrects the emissions it touches, so
// that none holds a callback or a signal that has gone.
struct Emission {
    Emission* outer;                  // running emission of the same signal around this one
    Emission* outerOfSame = nullptr;  // the one around this that is calling the same callback
    SignalBase* signal;               // null once the signal has died
    FunctionBase* current = nullptr;  // being called; null once it has been deleted
    FunctionBase* next;               // to be called after it; null: none
    FunctionBase* last;               // the last one to be called; later ones are newer than emit()

    explicit Emission(SignalBase& emitter);
    ~Emission();
    FunctionBase& enter();
    void leave();
};

namespace {

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
    for (Emission* e = running_; e; e = e->outerOfSame) e->current = nullptr;
}

void FunctionBase::release() {
    delete this;
}

// Takes the callback out of both lists; running emissions pass over it.
void SignalBase::detach(FunctionBase& callback) noexcept {
    if (SignalBase* emitter = callback.emitter_) {
        for (Emission* e = emitter->emissions_; e; e = e->outer) {
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
    if (!callback.running_) callback.release();
}

SignalBase::~SignalBase() {
    for (Emission* e = emissions_; e; e = e->outer) {
        e->signal = nullptr;
        e->next = nullptr;
    }
    emissions_ = nullptr;
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
    Emission emission(*this);
    while (emission.next) {
        emission.enter().call(argument);
        emission.leave();
    }
}

Emission::Emission(SignalBase& emitter)
    : outer(emitter.emissions_),
      signal(&emitter),
      next(emitter.callbacks_),
      last(emitter.callbacks_->previous_) {
    // Volatile, because compilers take this for an address that outlives its object.
    Emission* volatile running = this;
    emitter.emissions_ = running;
}

// Runs for exceptions too.
Emission::~Emission() {
    leave();
    if (signal) signal->emissions_ = outer;
}

FunctionBase& Emission::enter() {
    current = next;
    next = current == last ? nullptr : current->next_;
    outerOfSame = current->running_;
    current->running_ = this;
    return *current;
}

// Releases the callback if its connection has ended and no emission is calling it any more.
void Emission::leave() {
    if (!current) return;
    FunctionBase* callback = current;
    current = nullptr;
    callback->running_ = outerOfSame;
    if (!callback->emitter_ && !callback->running_) callback->release();
}

int SignalBase::numCallbacks() const noexcept {
    int count = 0;
    for (const FunctionBase* f = callbacks_; f; f = f->next_ == callbacks_ ? nullptr : f->next_)
        ++count;
    return count;
}

}  // namespace zoRTB
