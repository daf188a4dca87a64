// The one body of both list kinds. The exported functions of a kind forward to these.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <type_traits>

#include "Base/ma.h"
#include "KelvoBase/ds_lists.h"
#include "KelvoBase/vl_register.h"
#include "util/DS/back_steps.h"
#include "util/DS/chain_ends.h"
#include "util/DS/item_sort.h"
#include "util/DS/node_memory.h"
#include "util/status_codes.h"

namespace kelvo::ds {

template <class Node>
class ListKind {
    static constexpr bool kHasPrev = std::is_same_v<Node, Ds_dlist_node>;

  public:
    // --- Positions

    static void* tail(DS* handle, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) return util::failNull(status, util::kArgumentError);
        if (!handle->data) return util::failNull(status, util::kUnexpectedNull);
        Node* node = last(handle);
        return visible(handle, node) ? node : visibleBefore(handle, node);
    }

    static void* prev(DS* handle, void* position, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle || !position) return util::failNull(status, util::kArgumentError);
        return visibleBefore(handle, static_cast<Node*>(position));
    }

    static int setData(DS* handle, void* position, void* item, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle || !position) return util::fail(status, util::kArgumentError);
        static_cast<Node*>(position)->item = item;
        return 1;
    }

    // --- Search

    static int enumerate(DS* handle, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) {
            util::setStatus(status, util::kArgumentError);
            return -1;
        }
        int count = 0;
        for (const Node* node = first(handle); node; node = node->next)
            count += visible(handle, node);
        return count;
    }

    static void* find(DS* handle, void* match, void* key, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle || (!match && !key)) return util::failNull(status, util::kArgumentError);
        if (!match) return locate(handle, key).node;
        // A match function of one parameter does not see the second.
        const auto matches = reinterpret_cast<int (*)(void*, void*)>(match);
        for (Node* node = first(handle); node; node = node->next)
            if (visible(handle, node) && matches(node->item, key) != 0) return node;
        return nullptr;
    }

    static int containsItem(DS* handle, void* item, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) return util::fail(status, util::kArgumentError);
        if (!locate(handle, item).node) return util::fail(status, util::kItemNotFound);
        return 1;
    }

    static int walk(DS* handle, void* visit, void* extra, int count, int direction, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle || !visit || !handle->data || (direction != 0 && direction != 1))
            return util::fail(status, util::kArgumentError);
        if (count == 0 || count < -1) return 1;
        // Callers rely on a backward walk with a limit beginning, and so ending, at the head.
        Node* node = direction == 1 && count == -1 ? last(handle) : first(handle);
        BackSteps<Node> back;
        int visited = 0;
        bool succeeded = true;
        while (node && (count == -1 || visited < count)) {
            if (visible(handle, node)) {
                ++visited;
                if (!callVisit(visit, node->item, extra, status)) succeeded = false;
            }
            node = direction == 0 ? node->next : back.before(handle, node);
        }
        return succeeded ? 1 : util::fail(status, util::kWalkTerminated);
    }

    // --- Change

    static int add(DS* handle, void* item, int* status) {
        if (!handle || !status || handle->filter || handle->comparator != Ds_fifo_comparator)
            return addAny(handle, item, status);
        // What most adds are, without a look at anything else.
        Node* node = newNode(item);
        if (!node) return util::fail(status, util::kMemoryFault);
        append(handle, node);
        *status = util::kNoError;
        return 1;
    }

    [[gnu::noinline]] static int addAny(DS* handle, void* item, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) return util::fail(status, util::kArgumentError);
        if (handle->filter && handle->filter(item) == 0)
            return util::fail(status, util::kItemFiltered);
        if (!insert(handle, item)) return util::fail(status, util::kMemoryFault);
        if (!handle->comparator) util::setStatus(status, util::kCannotSort);
        // Callers rely on an add without a status pointer giving up the order, too.
        if (!status || !handle->comparator) handle->ordered = 0;
        return 1;
    }

    static void* remove(DS* handle, void* item, void* release, void* extra, int* status) {
        Node* const head = handle ? first(handle) : nullptr;
        if (!head || head->item != item || handle->filter || release || !status ||
            !g_chainEnds.headUnlinked(head, head->next)) [[unlikely]]
            return removeAny(handle, item, release, extra, status);
        // What most removals are: as little as possible beside the call of free.
        *status = util::kNoError;
        Node* const following = head->next;
        handle->data = following;
        if constexpr (kHasPrev) following->prev = nullptr;
        releaseNode(head);
        return following;
    }

    [[gnu::noinline]] static void* removeAny(DS* handle, void* item, void* release, void* extra,
                                             int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) return util::failNull(status, util::kArgumentError);
        Place place = locate(handle, item);
        if (!place.node) return util::failNull(status, util::kItemNotFound);
        Node* following = visibleFrom(handle, place.node->next);
        const std::uint64_t changes = g_chainEnds.changes();
        callRelease(release, place.node, extra);
        if (changes != g_chainEnds.changes()) {
            // The callback changed a list: what was noted before it may have gone.
            place = placeOf(handle, place.node);
            if (!place.node) return nullptr;
            following = visibleFrom(handle, place.node->next);
        }
        unlink(handle, place);
        return following;
    }

    /// Removes the visible items that are null, in one pass.
    static void removeNulls(DS* handle) {
        Place place = {first(handle), nullptr};
        while (place.node) {
            Node* const following = place.node->next;
            if (!place.node->item && visible(handle, place.node))
                unlink(handle, place);
            else
                place.before = place.node;
            place.node = following;
        }
    }

    static int destructor(DS* handle, void* release, void* extra, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) return util::fail(status, util::kArgumentError);
        // The list is whole at every callback, so that one may look at it.
        while (Node* node = first(handle)) {
            callRelease(release, node, extra);
            if (handle->data == node) unlink(handle, {node, nullptr});
        }
        return 1;
    }

    static int sort(DS* handle, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle || !handle->data) return util::fail(status, util::kArgumentError);
        if (!handle->comparator) return util::fail(status, util::kCannotSort);
        std::size_t count = 0;
        for (const Node* node = first(handle); node; node = node->next) ++count;
        const Items items(count, usesScratch(count, handle->comparator));
        if (!items.all) return util::fail(status, util::kMemoryFault);
        void** item = items.all;
        for (const Node* node = first(handle); node; node = node->next) *item++ = node->item;
        sortItems(items.all, items.scratch, count, handle->comparator);
        item = items.all;
        for (Node* node = first(handle); node; node = node->next) node->item = *item++;
        handle->ordered = 1;
        return 1;
    }

    // --- New chains

    static void* duplicate(DS* handle, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) return util::failNull(status, util::kArgumentError);
        DS chain = {1, nullptr, Ds_fifo_comparator, nullptr, nullptr};
        for (const Node* node = first(handle); node; node = node->next)
            if (!insert(&chain, node->item)) return abandon(&chain, status);
        return chain.data;
    }

    static void* merge(DS* a, DS* b, int* status) {
        util::setStatus(status, util::kNoError);
        if (!a && !b) return util::failNull(status, util::kArgumentError);
        DS chain = {1, nullptr, (a ? a : b)->comparator, nullptr, nullptr};
        for (DS* source : {a, b})
            for (Node* node = source ? firstVisible(source) : nullptr; node;
                 node = visibleFrom(source, node->next))
                if (!insert(&chain, node->item)) return abandon(&chain, status);
        if (chain.data && !chain.comparator) util::setStatus(status, util::kCannotSort);
        return chain.data;
    }

    /// The visible items of `a` that `b` contains (`wanted` true) or does not.
    static void* select(DS* a, DS* b, bool wanted, int* status) {
        util::setStatus(status, util::kNoError);
        if (!a || !b || !a->data || !b->methods || !b->methods->contains_item)
            return util::failNull(status, util::kArgumentError);
        DS chain = {1, nullptr, a->comparator, nullptr, nullptr};
        for (Node* node = firstVisible(a); node; node = visibleFrom(a, node->next)) {
            int notFound = util::kNoError;  // an answer, not a failure
            if ((b->methods->contains_item(b, node->item, &notFound) != 0) != wanted) continue;
            if (!insert(&chain, node->item)) return abandon(&chain, status);
        }
        if (chain.data && !chain.comparator) util::setStatus(status, util::kCannotSort);
        return chain.data;
    }

    static int getType(DS* handle, int* status) {
        util::setStatus(status, util::kNoError);
        if (!handle) {
            util::setStatus(status, util::kArgumentError);
            return -1;
        }
        int ignored = 0;
        if (!handle->methods) return -1;
        return VL_get_items_registration_id(handle->methods, Ds_get_object_table(), &ignored);
    }

  private:
    // A node and the one before it, hidden or not; both null: none.
    struct Place {
        Node* node;
        Node* before;
    };

    // Room for the items of a list and, when it is wanted and to be had, as much again.
    struct Items {
        Items(std::size_t count, bool twice) {
            if (twice) all = static_cast<void**>(MA_allocate(2 * count * sizeof(void*)));
            if (all) scratch = all + count;
            if (!all) all = static_cast<void**>(MA_allocate(count * sizeof(void*)));
        }
        ~Items() { MA_release(all); }
        Items(const Items&) = delete;
        Items& operator=(const Items&) = delete;

        void** all = nullptr;
        void** scratch = nullptr;
    };

    static Node* first(const DS* handle) { return static_cast<Node*>(handle->data); }

    static bool visible(const DS* handle, const Node* node) {
        return !handle->filter || handle->filter(node->item) != 0;
    }

    static Node* firstVisible(const DS* handle) { return visibleFrom(handle, first(handle)); }

    static Node* visibleBefore(const DS* handle, Node* position) {
        if constexpr (kHasPrev) {
            do position = position->prev;
            while (position && !visible(handle, position));
            return position;
        } else {
            Node* found = nullptr;
            for (Node* node = first(handle); node; node = node->next) {
                if (node == position) return found;
                if (visible(handle, node)) found = node;
            }
            return nullptr;
        }
    }

    // The last node, hidden or not, of a list that is not empty.
    static Node* last(const DS* handle) {
        auto* node = static_cast<Node*>(g_chainEnds.lastOf(handle->data));
        if (!node) node = first(handle);
        while (node->next) node = node->next;
        return node;
    }

    // The first visible node that holds `item`. Compares first: it is cheaper than asking a filter.
    static Place locate(const DS* handle, const void* item) {
        Place place = {first(handle), nullptr};
        while (place.node && (place.node->item != item || !visible(handle, place.node)))
            place = {place.node->next, place.node};
        return place;
    }

    // Where `node`, which may have been freed, is linked in, if it still is.
    static Place placeOf(const DS* handle, const Node* node) {
        Place place = {first(handle), nullptr};
        while (place.node && place.node != node) place = {place.node->next, place.node};
        return place;
    }

    static int callVisit(void* visit, void* item, void* extra, int* status) {
        if (extra) return reinterpret_cast<int (*)(void*, void*, int*)>(visit)(item, extra, status);
        return reinterpret_cast<int (*)(void*, int*)>(visit)(item, status);
    }

    // A release function of one parameter does not see the second.
    static void callRelease(void* release, Node* node, void* extra) {
        if (release) reinterpret_cast<void (*)(void*, void*)>(release)(node, extra);
    }

    static Node* newNode(void* item) {
        auto* node = static_cast<Node*>(allocateNode(sizeof(Node)));
        if (!node) return nullptr;
        g_chainEnds.allocated(node);
        node->item = item;
        return node;
    }

    // Links a new node in where the comparator says. False without memory.
    static bool insert(DS* handle, void* item) {
        Node* node = newNode(item);
        if (!node) return false;
        if (!handle->comparator || handle->comparator == Ds_fifo_comparator)
            append(handle, node);
        else
            insertOrdered(handle, node);
        return true;
    }

    static void append(DS* handle, Node* node) {
        auto* end = static_cast<Node*>(g_chainEnds.hotLastOf(handle->data));
        if (!end || end->next) {
            appendAny(handle, node);
            return;
        }
        link(handle, node, {nullptr, end});
        g_chainEnds.hotAppended(node);
    }

    [[gnu::noinline]] static void appendAny(DS* handle, Node* node) {
        Node* const head = first(handle);
        auto* end = head ? static_cast<Node*>(g_chainEnds.lastOf(head)) : nullptr;
        const bool isRemembered = end != nullptr;
        int length = 2;
        if (!isRemembered) end = head;
        for (; end && end->next; end = end->next) ++length;
        link(handle, node, {nullptr, end});
        if (isRemembered)
            g_chainEnds.appended(head, node);
        else if (length >= ChainEnds::kWorthRemembering)
            g_chainEnds.remember(head, node);
    }

    static void insertOrdered(DS* handle, Node* node) {
        Place place = {first(handle), nullptr};
        while (place.node && handle->comparator(node, place.node) == 1)
            place = {place.node->next, place.node};
        link(handle, node, place);
        if (!place.node) return;
        if (place.before)
            g_chainEnds.inserted();
        else
            g_chainEnds.prepended(place.node, node);
    }

    // Links a node in before place.node (null: at the end) and behind place.before (null: first).
    static void link(DS* handle, Node* node, const Place& place) {
        node->next = place.node;
        if (place.before)
            place.before->next = node;
        else
            handle->data = node;
        if constexpr (kHasPrev) {
            node->prev = place.before;
            if (place.node) place.node->prev = node;
        }
    }

    static void unlink(DS* handle, const Place& place) {
        Node* const next = place.node->next;
        g_chainEnds.unlinked(place.node, place.before, next);
        if (place.before)
            place.before->next = next;
        else
            handle->data = next;
        if constexpr (kHasPrev)
            if (next) next->prev = place.before;
        releaseNode(place.node);
    }

    // Frees a chain that could not be finished.
    static void* abandon(DS* chain, int* status) {
        destructor(chain, nullptr, nullptr, nullptr);
        return util::failNull(status, util::kMemoryFault);
    }
};

}  // namespace kelvo::ds
