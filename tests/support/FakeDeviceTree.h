#pragma once

#include <vector>

#include "platform/DeviceTree.h"

namespace ZelmoraTevra {

// A tree of nodes that a test makes. Handles are 1, 2, 3, ... in the order in which the nodes were added; the
// first one is the root.
class FakeDeviceTree : public platform::DeviceTree {
 public:
  // `drive` is the root of the drive that the node carries, empty for none.
  platform::DeviceNode add(platform::DeviceNode parent, WideText id, WideText drive = {}) {
    nodes_.push_back({parent, platform::noDeviceNode, platform::noDeviceNode, platform::noDeviceNode,
                      std::move(id), std::move(drive)});
    const auto node = static_cast<platform::DeviceNode>(nodes_.size());
    if (parent == platform::noDeviceNode) return node;
    Node& above = nodes_[parent - 1];
    (above.firstChild == platform::noDeviceNode ? above.firstChild : at(above.lastChild).nextSibling) = node;
    above.lastChild = node;
    return node;
  }

  platform::DeviceNode root() override { return nodes_.empty() ? platform::noDeviceNode : 1; }
  platform::DeviceNode parent(platform::DeviceNode node) override { return at(node).parent; }
  platform::DeviceNode firstChild(platform::DeviceNode node) override { return at(node).firstChild; }
  platform::DeviceNode nextSibling(platform::DeviceNode node) override { return at(node).nextSibling; }
  WideText id(platform::DeviceNode node) override { return at(node).id; }
  WideText driveOf(platform::DeviceNode node) override { return at(node).drive; }

  // How often the tree was asked for something about a node.
  std::size_t questions = 0;

 private:
  struct Node {
    platform::DeviceNode parent;
    platform::DeviceNode firstChild;
    platform::DeviceNode lastChild;
    platform::DeviceNode nextSibling;
    WideText id;
    WideText drive;
  };

  Node& at(platform::DeviceNode node) {
    ++questions;
    return nodes_.at(node - 1);
  }

  std::vector<Node> nodes_;
};

}  // namespace ZelmoraTevra
