#pragma once
// The group tree (`MyTree`): nodes with a text and an image, each with a parent (0: a root)
// and children in display order. A node is named by its index, which is its place in order of
// creation among the nodes that exist, from 1: removing a node renumbers every later one, and
// among nodes of the same text the lowest index is always the oldest. The contact rules lean
// on that (the first node of a name is the one shown before a presence move).

#include <QObject>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "wire/gbk.h"

namespace nq {

class NodeTree : public QObject {
    Q_OBJECT
  public:
    static constexpr int kGroupImage = 1;     // a group's own node
    static constexpr int kCreatorImage = 42;  // the member node of a group's creator

    explicit NodeTree(QObject* parent = nullptr);
    ~NodeTree() override;

    [[nodiscard]] int count() const { return static_cast<int>(nodes_.size()); }

    // For an index that does not exist: an empty text, image 0, no parent and no children.
    [[nodiscard]] const Bytes& text(int index) const;
    [[nodiscard]] int image(int index) const;
    [[nodiscard]] int parent(int index) const;
    [[nodiscard]] int childCount(int index) const;
    [[nodiscard]] bool hasChildren(int index) const { return childCount(index) > 0; }
    [[nodiscard]] std::vector<int> children(int index) const;  // in display order
    [[nodiscard]] bool expanded(int index) const;

    // The first node of that text in index order (0: none), and all of them.
    [[nodiscard]] int find(std::string_view text) const;
    [[nodiscard]] std::vector<int> findAll(std::string_view text) const;

    // Each returns the new node's index, or 0 when the parent does not exist.
    int addRoot(Bytes text, int image);
    int addChild(int parent, Bytes text, int image);       // as the last child
    int addFirstChild(int parent, Bytes text, int image);  // before the first child

    void remove(int index);  // with everything under it
    void setImage(int index, int image);
    void setExpanded(int index, bool expanded);
    void clear();

    // Asks the view to repaint.
    void refresh() { emit changed(); }

  signals:
    void changed();

  private:
    struct Node;
    [[nodiscard]] Node* at(int index) const;
    int add(Node* parent, Bytes text, int image, bool first);

    std::vector<std::unique_ptr<Node>> nodes_;              // in order of creation
    std::unordered_map<Bytes, std::vector<Node*>> byText_;  // each in order of creation
};

}  // namespace nq
