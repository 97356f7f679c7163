#include "contacts/node_tree.h"

#include <algorithm>
#include <unordered_set>

namespace nq {

struct NodeTree::Node {
    Bytes text;
    int image = 0;
    Node* parent = nullptr;
    std::vector<Node*> children;
    bool expanded = false;
    int index = 0;  // kept equal to the place in nodes_, from 1
};

NodeTree::NodeTree(QObject* parent) : QObject(parent) {}
NodeTree::~NodeTree() = default;

NodeTree::Node* NodeTree::at(int index) const {
    return index >= 1 && index <= count() ? nodes_[static_cast<size_t>(index - 1)].get() : nullptr;
}

const Bytes& NodeTree::text(int index) const {
    static const Bytes kNone;
    const Node* n = at(index);
    return n ? n->text : kNone;
}

int NodeTree::image(int index) const {
    const Node* n = at(index);
    return n ? n->image : 0;
}

int NodeTree::parent(int index) const {
    const Node* n = at(index);
    return n && n->parent ? n->parent->index : 0;
}

int NodeTree::childCount(int index) const {
    const Node* n = at(index);
    return n ? static_cast<int>(n->children.size()) : 0;
}

std::vector<int> NodeTree::children(int index) const {
    std::vector<int> out;
    if (const Node* n = at(index)) {
        for (const Node* c : n->children) out.push_back(c->index);
    }
    return out;
}

bool NodeTree::expanded(int index) const {
    const Node* n = at(index);
    return n && n->expanded;
}

int NodeTree::find(std::string_view text) const {
    const auto it = byText_.find(Bytes(text));
    return it == byText_.end() || it->second.empty() ? 0 : it->second.front()->index;
}

std::vector<int> NodeTree::findAll(std::string_view text) const {
    std::vector<int> out;
    if (const auto it = byText_.find(Bytes(text)); it != byText_.end()) {
        for (const Node* n : it->second) out.push_back(n->index);
    }
    return out;
}

int NodeTree::add(Node* parent, Bytes text, int image, bool first) {
    auto node = std::make_unique<Node>();
    node->text = std::move(text);
    node->image = image;
    node->parent = parent;
    node->index = count() + 1;
    Node* n = node.get();
    if (parent) {
        auto& siblings = parent->children;
        siblings.insert(first ? siblings.begin() : siblings.end(), n);
    }
    byText_[n->text].push_back(n);
    nodes_.push_back(std::move(node));
    return n->index;
}

int NodeTree::addRoot(Bytes text, int image) {
    return add(nullptr, std::move(text), image, false);
}

int NodeTree::addChild(int parent, Bytes text, int image) {
    Node* p = at(parent);
    return p ? add(p, std::move(text), image, false) : 0;
}

int NodeTree::addFirstChild(int parent, Bytes text, int image) {
    Node* p = at(parent);
    return p ? add(p, std::move(text), image, true) : 0;
}

void NodeTree::remove(int index) {
    Node* top = at(index);
    if (!top) return;
    std::unordered_set<const Node*> gone;
    std::vector<Node*> stack{top};
    while (!stack.empty()) {
        Node* n = stack.back();
        stack.pop_back();
        gone.insert(n);
        stack.insert(stack.end(), n->children.begin(), n->children.end());
        auto& same = byText_[n->text];
        std::erase(same, n);
        if (same.empty()) byText_.erase(n->text);
    }
    if (top->parent) std::erase(top->parent->children, top);
    std::erase_if(nodes_, [&](const std::unique_ptr<Node>& n) { return gone.count(n.get()) != 0; });
    for (size_t i = 0; i < nodes_.size(); ++i) nodes_[i]->index = static_cast<int>(i + 1);
}

void NodeTree::setImage(int index, int image) {
    if (Node* n = at(index)) n->image = image;
}

void NodeTree::setExpanded(int index, bool expanded) {
    if (Node* n = at(index)) n->expanded = expanded;
}

void NodeTree::clear() {
    nodes_.clear();
    byText_.clear();
}

}  // namespace nq
