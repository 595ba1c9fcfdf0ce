// DocNode: one node of a document tree, with its key, name, value, attributes and links.
//
// Only Doc makes nodes. A node's first child and next sibling are owned through its links; its
// parent, previous sibling and root are non-owning back links that read Nothing once the node
// they named has gone. So a caller that holds a node keeps it and its subtree usable after
// Doc.Remove and after the Doc has gone, and an unreferenced tree is freed without a Clear.
// No operation recurses once per tree level.
#ifndef BORVANE_DOCTREE_DOC_NODE_H_
#define BORVANE_DOCTREE_DOC_NODE_H_

#include <cstdint>
#include <functional>
#include <string>

#include "borvane/automation/binding.h"
#include "borvane/automation/slab_pool.h"
#include "borvane/doctree/attributes.h"
#include "borvane/doctree/node_key.h"
#include "borvane/doctree/node_name.h"
#include "borvane/doctree/node_value.h"

namespace borvane {

class CStringBuilder;
class Doc;
class NodeList;

// Nodes come from a lane of the slab pool of their own: a tree read or built at once stands
// together in memory, without the attributes and texts made between its nodes.
class DocNode : public Dispatchable<DocNode>, public PooledIn<1> {
 public:
  static constexpr const char* kClassName = "DocNode";
  static void Describe(ClassBuilder<DocNode>& b);

  // Provided rather than defaulted: MakeRef's `new DocNode()` would otherwise zero the whole
  // node before the member initializers run, which costs a reader a block fill per node.
  DocNode() {}
  ~DocNode() override;

  Ref<DocNode> Root() const;
  Ref<DocNode> Parent() const { return Ref<DocNode>(mobjParent); }
  Ref<DocNode> Child() const { return mobjChild; }
  // Number of direct children, counted along the sibling list.
  int32_t Children() const;
  Ref<DocNode> PreviousSibling() const { return Ref<DocNode>(mobjPreviousSibling); }
  Ref<DocNode> NextSibling() const { return mobjNextSibling; }
  // The end of the sibling list from this node on; this node itself when it is the last.
  Ref<DocNode> LastSibling();
  // Parent.Child; error 91 on a node without a parent.
  Ref<DocNode> FirstSibling() const;
  String Key() const { return mstrKey.ToString(); }
  // Error 102 (and the name unchanged) for a text with a space; other white space passes.
  void SetName(String Value);
  String Name() const { return mstrName.ToString(); }
  // Stores a copy; an object is stored as the value of its default member.
  void SetValue(Variant Value);
  Variant Value() const;
  // Created empty on first access.
  Ref<borvane::Attributes> Attributes();
  // The names from the top down to this node, joined by the thread's path separator.
  String Path() const;
  // Number of steps up to the top: 0 for a node without a parent.
  int32_t Level() const;
  // Replaces XMLText by the text of this node and its subtree; failures pass through.
  void WriteXMLNode(String& XMLText, bool& indent);
  // This node or the first in document order below it whose name matches, ignoring case;
  // without InclSubNodes only this node and its direct children are looked at.
  Ref<DocNode> SelectSingleNode(String& Name, bool& InclSubNodes);

  // Library-internal setters. They check nothing; keeping the links consistent is the job of
  // Doc.Add and RemoveNode.
  void SetRoot(DocNode* node);
  void SetParent(DocNode* node);
  void SetChild(Ref<DocNode> node);
  void SetPreviousSibling(DocNode* node);
  void SetNextSibling(Ref<DocNode> node);
  // Stores the key only while the node has none.
  void SetKey(const String& key) {
    if (mstrKey.empty()) mstrKey.Set(key);
  }
  // Library-internal: appends the text of this node and its subtree to the builder.
  void WriteNode(CStringBuilder& builder, bool& indent);
  // The same text, as the whole content of `out`, written into storage of its measured size.
  void WriteNode(std::u16string& out, bool indent);
  // The same text, passed to `write` a piece at a time. Error 6, before anything is passed,
  // when the text would be longer than a text of the library can be.
  void WriteNode(const std::function<void(std::u16string_view)>& write, bool indent);
  // Characters of that text at most.
  size_t TextBound(bool indent);
  // Walks this node's subtree in document order without recursion: open(node, level) on the
  // way down, close(node, level) on the way up; levels count from the top of the tree when
  // `indent` is set, else they are 0.
  template <class Open, class Close>
  void Walk(bool indent, Open&& open, Close&& close);
  // Writes the text of this node's subtree into `out` (a sink of the writer).
  template <class Sink>
  void WriteInto(Sink& out, bool indent);
  // The text's length, or a measure above it; error 6 when it passes the largest text.
  size_t CheckedTextSize(bool indent);
  // Library-internal: unlinks this node and its subtree, empties their attributes, and appends
  // their keys to Keys, comma-separated, children before parents.
  void RemoveNode(String& Keys);

 private:
  friend class Doc;
  friend class NodeList;

  // A non-owning handle on a node that reads nullptr once the node has gone; nodes name their
  // root through it. It also carries the node's hold on its parent, which is as rare, so that a
  // node keeps one word for both.
  struct Anchor {
    DocNode* node;
    uint32_t refs;
    // Set only on a node that still names a parent whose child list no longer holds it, so
    // that the parent it names stays alive; given up when the node goes.
    Ref<DocNode> parent_hold;
  };
  // The node's hold on its parent, taken out of its anchor (nullptr for none).
  DocNode* TakeParentHold() { return anchor_ ? anchor_->parent_hold.Detach() : nullptr; }
  static void ReleaseAnchor(Anchor* anchor);
  // Drops a reference to `node` (nothing for nullptr) without nesting one release in another.
  // `former_parent`, when given, is a parent that has gone or has let go of its child list: the
  // links of `node` and of the siblings behind it that still name it are cleared.
  static void ReleaseLater(DocNode* node, const DocNode* former_parent);
  Anchor* GetAnchor();
  // Links `node` as the last child, in constant time.
  void AppendChild(DocNode* node) {
    node->mobjParent = this;
    if (!mobjChild) {
      mobjChild = Ref<DocNode>(node);
      tail_ = node;
      return;
    }
    DocNode* last = tail_ ? tail_ : mobjChild.Get();
    while (last->mobjNextSibling) last = last->mobjNextSibling.Get();
    node->mobjPreviousSibling = last;
    last->mobjNextSibling = Ref<DocNode>(node);
    tail_ = node;
  }
  // Clears the links of one node whose subtree has been taken apart already.
  void ClearLinks();
  // The attributes object, made from the reader's packed pairs when they are waiting; nullptr
  // for a node whose Attributes was never read and that read none.
  borvane::Attributes* AttributesIfAny();
  // Restores the parent's view after its Child moved past nodes that still name it.
  void RehomeChildren(DocNode* old_first);

  // The quotes in a String value, counted when it was set, while its text was at hand: the
  // writer's measure then need not read a long text again. kQuotesUncounted where they were
  // not counted. The first member, so that it takes the four bytes the object header leaves.
  static constexpr uint32_t kQuotesUncounted = UINT32_MAX;
  uint32_t value_quotes_ = kQuotesUncounted;
  NodeKey mstrKey;
  NodeName mstrName;
  // A String value stays a bare text: a String is made of it only when a caller asks for the
  // value. A read tree is mostly walked, written or freed as a whole, and a heap block per
  // value the reader found costs the heap's search for room, which grows with what earlier
  // documents left of it in pieces.
  NodeValue mvntValue;
  // The attributes object, or the pairs the reader found until it is first needed.
  AttributesSlot mobjAttributes;
  Anchor* mobjRoot = nullptr;  // counted handle on the root
  DocNode* mobjParent = nullptr;
  Ref<DocNode> mobjChild;
  Ref<DocNode> mobjNextSibling;
  DocNode* mobjPreviousSibling = nullptr;
  // The end of the child list while mobjChild is set; nullptr when it has to be looked for.
  DocNode* tail_ = nullptr;
  Anchor* anchor_ = nullptr;  // made on first need: as a root, or to hold the parent
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_DOC_NODE_H_
