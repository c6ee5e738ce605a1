// What is recognised where: one declared rule per container, with one row per child type in slot order.
//
// The child loop (child_loop.cpp) reads by these rules, and for_each_kept_child() walks the finished tree by
// the same rows. A row names the child's parser and where its node is kept; a box without a row is skipped.
#ifndef ZDR_P3GPP_BOX_RULES_H
#define ZDR_P3GPP_BOX_RULES_H

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string_view>

#include "p3gpp/box_reader.h"
#include "p3gpp/box_tree.h"

namespace zdr::p3gpp {

using BoxParser = Status (*)(BoxReader& reader, BoxNode& node);

// What becomes of a child that was parsed.
enum class Keep : uint8_t {
  kSlot,             // its node goes into a slot; a later one of the type replaces it
  kSlotIfPayload,    // the same, but a child whose parser made no payload is dropped
  kList,             // appended to a list
  kListWhileItFits,  // the same up to the container's entry count; the surplus is dropped
  kEndsContainer,    // not kept: the container loses its payload and ends there, with success
};

struct ChildRule {
  std::string_view type;
  BoxParser parse;  // null only for kEndsContainer
  Keep keep;
  BoxSlot& (*slot)(BoxPayload& payload) = nullptr;
  BoxList& (*list)(BoxPayload& payload) = nullptr;
};

// What a container does with a child that runs past its end.
enum class Overrun : uint8_t {
  kFail,
  kSeekToEndAndFail,
};

struct ContainerRule {
  std::string_view type;
  std::unique_ptr<BoxPayload> (*make_payload)();
  std::span<const ChildRule> children;
  Overrun overrun = Overrun::kFail;
  // A failing list child (a track) ends the container with success once the list holds one.
  bool tolerates_failure_after_first = false;
};

extern const ContainerRule kMoovRule;
extern const ContainerRule kTrakRule;
extern const ContainerRule kEdtsRule;
extern const ContainerRule kMdiaRule;
extern const ContainerRule kMinfRule;
extern const ContainerRule kDinfRule;
extern const ContainerRule kDrefRule;
extern const ContainerRule kStblRule;
extern const ContainerRule kStsdRule;

// Calls `visit` for every kept child of `node`, in slot order; null entries of lists are passed over.
void for_each_kept_child(const BoxNode& node, const std::function<void(const BoxNode&)>& visit);

}  // namespace zdr::p3gpp

#endif
