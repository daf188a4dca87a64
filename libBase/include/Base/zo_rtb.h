// Signals: an object says that something happened, whoever connected a callback hears it.
//   1. A signal owns its callbacks and calls them in the order in which they were added.
//   2. A connection ends when the signal (the emitter) dies, when its owner dies, or when the
//      callback is deleted. An owner is a signal too: a class that connects callbacks to its
//      members keeps one SignalBase, names it as the owner, and is never called after its death.
//   3. During an emission callbacks may add and delete callbacks, emit again, and destroy the owner
//      or the emitter. An ended connection is not called any more, a new one not before the next
//      emission, and a callback that is running is deleted only when it has returned. (Those for
//      functions and member functions need nothing of their own by then and may go at once.)
//   4. What travels is the address of one value, or null. Emitter and callbacks agree on its type.
//   5. An exception of a callback leaves emit() when the callbacks after it have been called, too; of
//      several the first one does.
//   6. One thread.
#pragma once

#include <utility>

#include "Base/base_api.h"

namespace zoRTB {

class SignalBase;

/// A callback. Made with new and given to SignalBase::addCallback, which then owns it.
class BASE_API FunctionBase {
  public:
    FunctionBase() = default;
    FunctionBase(const FunctionBase&) = delete;
    FunctionBase& operator=(const FunctionBase&) = delete;
    /// Ends the connection.
    virtual ~FunctionBase();

    /// Receives what was given to SignalBase::emit: the address of the value, or null.
    virtual void call(void* argument) = 0;

    /// Called once the connection has ended by the death of emitter or owner and no call runs any
    /// more. Default: `delete this`. A callback that is a member of something else does nothing.
    virtual void release();

    /// Whether a signal has this callback. False from the end of the connection on, which a
    /// callback that caused it can still ask.
    bool isConnected() const noexcept { return emitter_ != nullptr; }

  protected:
    /// What an emission calls: call(), and keeps the callback until that has returned. For callbacks
    /// that touch nothing of their own once they call foreign code, call() alone will do.
    virtual void invoke(void* argument);

  private:
    friend class SignalBase;
    SignalBase* emitter_ = nullptr;  // borrowed; null when not connected
    SignalBase* owner_ = nullptr;    // borrowed; null when there is none
    // Neighbours in the two lists; "previous" of the first is the last.
    FunctionBase* previous_ = nullptr;
    FunctionBase* next_ = nullptr;
    FunctionBase* ownedPrevious_ = nullptr;
    FunctionBase* ownedNext_ = nullptr;
};

/// Something that callbacks can be connected to, or that owns connections, or both. Connections
/// belong to the object and not to its value: a copy starts without any, assignment changes none.
class BASE_API SignalBase {
  public:
    SignalBase() noexcept = default;
    SignalBase(const SignalBase&) noexcept {}
    SignalBase& operator=(const SignalBase&) noexcept { return *this; }
    /// Deletes its callbacks and ends the connections that it owns.
    ~SignalBase();

    /// Connects `callback` and takes it over; null does nothing. A callback that is connected
    /// already moves here.
    void addCallback(FunctionBase* callback);
    /// The same, for a connection that ends with `owner` too.
    void addCallback(FunctionBase* callback, SignalBase& owner);

    /// Calls all callbacks with `argument`, the address of the value that they expect. Callbacks
    /// for a value leave a null address alone; those without one ignore it.
    void emit(void* argument = nullptr) {
        if (!callbacks_) return;
        if (callbacks_->next_ == callbacks_)
            callbacks_->invoke(argument);
        else
            emitToSeveral(argument);
    }
    /// Calls all callbacks with a copy of `value`, which they may change for those after them.
    template <class A>
    void emitValue(A value) {
        emit(&value);
    }

    /// Number of connected callbacks.
    int numCallbacks() const noexcept;

  private:
    friend class FunctionBase;
    static void detach(FunctionBase& callback) noexcept;
    static void dispose(FunctionBase& callback);
    void emitToSeveral(void* argument);

    FunctionBase* callbacks_ = nullptr;  // owned; the first one
    FunctionBase* owned_ = nullptr;      // borrowed; first callback whose connection ends with us
};

/// Calls a function with the emitted value of type A.
template <class A>
class FunctionArgGlobal final : public FunctionBase {
  public:
    explicit FunctionArgGlobal(void (*function)(A)) : function_(function) {}
    void call(void* argument) override {
        if (argument) function_(*static_cast<A*>(argument));
    }

  protected:
    void invoke(void* argument) override { call(argument); }

  private:
    void (*function_)(A);
};

/// Calls a member function with the emitted value of type A. The object must outlive the
/// connection; see "owner" above.
template <class T, class A>
class FunctionArgMember final : public FunctionBase {
  public:
    FunctionArgMember(T* object, void (T::*function)(A)) : object_(object), function_(function) {}
    void call(void* argument) override {
        if (argument) (object_->*function_)(*static_cast<A*>(argument));
    }

  protected:
    void invoke(void* argument) override { call(argument); }

  private:
    T* object_;  // borrowed
    void (T::*function_)(A);
};

/// Calls a function without arguments, whatever is emitted.
class FunctionGlobal final : public FunctionBase {
  public:
    explicit FunctionGlobal(void (*function)()) : function_(function) {}
    void call(void*) override { function_(); }

  protected:
    void invoke(void* argument) override { call(argument); }

  private:
    void (*function_)();
};

/// Calls a member function without arguments, whatever is emitted.
template <class T>
class FunctionMember final : public FunctionBase {
  public:
    FunctionMember(T* object, void (T::*function)()) : object_(object), function_(function) {}
    void call(void*) override { (object_->*function_)(); }

  protected:
    void invoke(void* argument) override { call(argument); }

  private:
    T* object_;  // borrowed
    void (T::*function_)();
};

/// Calls a function object (a lambda, say) that takes no arguments, whatever is emitted:
/// `signal.addCallback(new zoRTB::FunctionObject([&] { refresh(); }), owner);`
template <class Callable>
class FunctionObject : public FunctionBase {
  public:
    explicit FunctionObject(Callable callable) : callable_(std::move(callable)) {}
    void call(void*) override { callable_(); }

  private:
    Callable callable_;
};

}  // namespace zoRTB
