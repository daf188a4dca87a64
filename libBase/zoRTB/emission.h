// How a signal calls its callbacks. For those in this library who emit all the time: a signal with
// one callback is then one call and no more.
#pragma once

#include "Base/zo_rtb.h"

namespace kelvo::zo_rtb {

// Whoever deletes a callback or ends a connection corrects the records that run, so that none holds
// a callback that has gone. They live on the stack of the emission.

/// One running call of a callback.
struct Call {
    Call* const outer;              // the one around this, of whatever signal
    zoRTB::FunctionBase* callback;  // null once it has been deleted

    explicit Call(zoRTB::FunctionBase& called) noexcept;
    ~Call();
};

/// One running way through several callbacks.
struct Walk {
    Walk* const outer;          // the one around this, of whatever signal
    zoRTB::FunctionBase* next;  // to be called; null: none
    zoRTB::FunctionBase* last;  // the last one to be called; later ones are newer than the emission

    Walk(zoRTB::FunctionBase& first, zoRTB::FunctionBase& newest) noexcept;
    ~Walk();
};

/// The innermost records of this thread. They are few and short: looking through them when a
/// connection ends costs less than an entry in signal and callback for every emission.
struct Running {
    Call* call;
    Walk* walk;
};
[[gnu::tls_model("initial-exec")]] extern constinit thread_local Running t_running;

/// Releases a callback whose connection has ended, unless a call around this one runs it too.
[[gnu::cold]] void releaseEnded(zoRTB::FunctionBase& callback);

inline Call::Call(zoRTB::FunctionBase& called) noexcept : outer(t_running.call), callback(&called) {
    t_running.call = this;
}

// Runs for exceptions too.
inline Call::~Call() {
    t_running.call = outer;
    if (callback && !callback->isConnected()) [[unlikely]]
        releaseEnded(*callback);
}

/// The ways into a signal.
struct Emission {
    /// As signal.emit(argument).
    static void emit(zoRTB::SignalBase& signal, void* argument) {
        if (signal.callbacks_) emitToAll(*signal.callbacks_, argument);
    }
    /// Calls `first` and all callbacks after it that its signal has now. The signal may be gone
    /// after any call.
    static void emitToAll(zoRTB::FunctionBase& first, void* argument) {
        if (first.next_ != &first) [[unlikely]]
            return emitToSeveral(first, argument);
        const Call call(first);
        first.call(argument);
    }

  private:
    static void emitToSeveral(zoRTB::FunctionBase& first, void* argument);
};

}  // namespace kelvo::zo_rtb
