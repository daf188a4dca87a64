// Reference counts and ordered maps.
//   1. A counted class derives from zo::ReferenceCount and is held through zo::Reference handles;
//      the object is deleted with its last handle. Objects with handles live on the heap.
//   2. Handles to one object may be kept by several threads: the count is atomic as soon as the
//      process has more than one. The object itself gets no protection from that.
#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <functional>
#include <map>
#include <memory>

#include "Base/base_api.h"

namespace zo {

/// Base of counted classes. The count belongs to the object, not to its value: a new object and a
/// copy both start at 0, and assignment changes no count.
class BASE_API ReferenceCount {
  public:
    /// Takes part in the ownership of the object.
    void addRef() const noexcept {
        if (isSingleThreaded())
            count_.store(referenceCount() + 1, std::memory_order_relaxed);
        else
            count_.fetch_add(1, std::memory_order_relaxed);
    }

    /// Gives one ownership back. The release that brings the count to 0 deletes the object.
    void release() const noexcept {
        if (takeOne() == 1) delete this;
    }

    /// Number of owners at this moment.
    int referenceCount() const noexcept { return count_.load(std::memory_order_relaxed); }

  protected:
    ReferenceCount() noexcept : count_(0) {}
    ReferenceCount(const ReferenceCount&) noexcept : count_(0) {}
    ReferenceCount& operator=(const ReferenceCount&) noexcept { return *this; }
    virtual ~ReferenceCount();

  private:
    // Whether no other thread has been started so far, as the shared pointers of <memory> ask: an
    // atomic operation takes some five times as long as a plain one.
    static bool isSingleThreaded() noexcept {
#if defined(_GLIBCXX_RELEASE) && _GLIBCXX_RELEASE >= 11
        return __gnu_cxx::__is_single_threaded();
#else
        return false;
#endif
    }
    // The count before.
    int takeOne() const noexcept {
        if (!isSingleThreaded()) return count_.fetch_sub(1, std::memory_order_acq_rel);
        const int count = referenceCount();
        count_.store(count - 1, std::memory_order_relaxed);
        return count;
    }

    mutable std::atomic<int> count_;
};

/// Called by zo::Reference; counted classes need nothing of their own.
inline void intrusive_ptr_add_ref(const ReferenceCount* object) noexcept {
    object->addRef();
}
/// Called by zo::Reference; counted classes need nothing of their own.
inline void intrusive_ptr_release(const ReferenceCount* object) noexcept {
    object->release();
}

/// Handle that owns a share of a counted object, or null. It can be made from a plain pointer at
/// any time, since the count is in the object: `zo::Reference<Item> item(new Item);`
template <class T>
using Reference = boost::intrusive_ptr<T>;

/// Map ordered by key. Iterators and references stay valid while other entries come and go.
template <class Key, class Value, class Less = std::less<Key>>
using Map = std::map<Key, Value, Less>;

}  // namespace zo
