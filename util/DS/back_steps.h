// Going backward through a list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "Base/ma.h"
#include "KelvoBase/ds_lists.h"
#include "util/DS/chain_ends.h"

namespace kelvo::ds {

/// Finds the node before another. A singly linked chain is noted down once instead of being walked
/// from its head at every step; it is noted anew when a list has changed meanwhile, since a noted
/// node may have gone.
template <class Node>
class BackSteps {
  public:
    BackSteps() = default;
    ~BackSteps() { MA_release(nodes_); }
    BackSteps(const BackSteps&) = delete;
    BackSteps& operator=(const BackSteps&) = delete;

    Node* before(const DS* handle, Node* node) {
        if constexpr (std::is_same_v<Node, Ds_dlist_node>) return node->prev;
        if (!nodes_ || changes_ != g_chainEnds.changes()) note(handle, node);
        if (!nodes_) return walkTo(handle, node, nullptr);
        return left_ > 0 ? nodes_[--left_] : nullptr;
    }

  private:
    void note(const DS* handle, const Node* node) {
        MA_release(nodes_);
        nodes_ = nullptr;
        changes_ = g_chainEnds.changes();
        left_ = 0;
        walkTo(handle, node, [this](Node*) { ++left_; });
        nodes_ = static_cast<Node**>(MA_allocate(left_ * sizeof(Node*)));
        Node** end = nodes_;
        if (end) walkTo(handle, node, [&end](Node* each) { *end++ = each; });
    }

    // Calls `visit` for the nodes before `node` and returns the last of them.
    template <class Visit>
    static Node* walkTo(const DS* handle, const Node* node, Visit visit) {
        Node* last = nullptr;
        for (auto* each = static_cast<Node*>(handle->data); each && each != node;
             each = each->next) {
            if constexpr (!std::is_null_pointer_v<Visit>) visit(each);
            last = each;
        }
        return last;
    }

    Node** nodes_ = nullptr;  // owned; the nodes before the one last asked for
    std::size_t left_ = 0;
    std::uint64_t changes_ = 0;
};

}  // namespace kelvo::ds
