#include "borvane/doctree/doc_node.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/automation/unit_search.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/global.h"

namespace borvane {

namespace {

// Freeing a node releases its first child and next sibling, which may free theirs, and so on
// down a chain as long as the tree: the releases queue up here and run one after the other
// instead of nesting.
//
// A release may name a former parent of the node released and of the siblings behind it: one
// that has gone, or that has let go of its child list. Their links to it are cleared as the
// release reaches them, so that a node that dies with its parent costs no extra visit, and only
// those that outlive the release are walked.
struct ReleaseQueue {
  struct Entry {
    DocNode* node;
    const DocNode* former_parent;
  };
  Entry* pending;  // a heap block of `capacity` entries, nullptr before the first release
  size_t size;
  size_t capacity;
  bool draining;
  // The former parent of the node whose release runs now, while the queue is drained.
  const DocNode* former_parent;
};

// Plain data in the initial TLS block, so that reaching it costs no call: freeing a tree
// reaches it twice per node. Its block goes at thread exit with BlockReleaser.
__attribute__((tls_model("initial-exec"))) constinit thread_local ReleaseQueue t_release = {};

struct BlockReleaser {
  ~BlockReleaser() {
    delete[] t_release.pending;
    t_release.pending = nullptr;
    t_release.size = t_release.capacity = 0;
  }
};

void Push(ReleaseQueue& queue, ReleaseQueue::Entry entry) {
  if (queue.size == queue.capacity) {
    static thread_local BlockReleaser releaser;  // made with the thread's first block
    (void)releaser;
    const size_t capacity = queue.capacity ? queue.capacity * 2 : 64;
    auto* bigger = new ReleaseQueue::Entry[capacity];
    std::copy(queue.pending, queue.pending + queue.size, bigger);
    delete[] queue.pending;
    queue.pending = bigger;
    queue.capacity = capacity;
  }
  queue.pending[queue.size++] = entry;
}

}  // namespace

void DocNode::ReleaseLater(DocNode* node, const DocNode* former_parent) {
  if (!node) return;
  ReleaseQueue& queue = t_release;
  Push(queue, {node, former_parent});
  if (queue.draining) return;
  queue.draining = true;
  while (queue.size > 0) {
    const ReleaseQueue::Entry next = queue.pending[--queue.size];
    if (next.former_parent) {
      if (next.node->mobjParent == next.former_parent) next.node->mobjParent = nullptr;
      // The node outlives this release, and so do the siblings behind it that it holds.
      if (next.node->RefCount() > 1) {
        for (DocNode* s = next.node->mobjNextSibling.Get(); s; s = s->mobjNextSibling.Get())
          if (s->mobjParent == next.former_parent) s->mobjParent = nullptr;
      }
    }
    queue.former_parent = next.former_parent;
    next.node->Release();
    queue.former_parent = nullptr;
  }
  queue.draining = false;
}

void DocNode::Describe(ClassBuilder<DocNode>& b) {
  b.Order(kOrderDocNode)
      .Ids(ClassId(kOrderDocNode), InterfaceId(kOrderDocNode))
      .Get("Root", &DocNode::Root)
      .Get("Parent", &DocNode::Parent)
      .Get("Child", &DocNode::Child)
      .Get("Children", &DocNode::Children)
      .Get("PreviousSibling", &DocNode::PreviousSibling)
      .Get("NextSibling", &DocNode::NextSibling)
      .Get("LastSibling", &DocNode::LastSibling)
      .Get("FirstSibling", &DocNode::FirstSibling)
      .Get("Key", &DocNode::Key)
      .Let("Name", &DocNode::SetName, {"Value"})
      .Get("Name", &DocNode::Name)
      .Let("Value", &DocNode::SetValue, {"Value"})
      .Get("Value", &DocNode::Value)
      .Get("Attributes", &DocNode::Attributes)
      .Method("Path", &DocNode::Path)
      .Method("Level", &DocNode::Level)
      .Method("WriteXMLNode", &DocNode::WriteXMLNode, {"XMLText", Opt("indent", false)})
      .Method("SelectSingleNode", &DocNode::SelectSingleNode, {"Name", Opt("InclSubNodes", false)});
}

DocNode::~DocNode() {
  // The former parent of this node, when this node goes as the release of that parent's child
  // list reaches it; its siblings behind share it.
  const ReleaseQueue& queue = t_release;
  const DocNode* former_parent = queue.draining ? queue.former_parent : nullptr;
  // Back links that name this node must not outlive it: the children's are cleared as their
  // release reaches them.
  if (mobjNextSibling && mobjNextSibling->mobjPreviousSibling == this)
    mobjNextSibling->mobjPreviousSibling = nullptr;
  DocNode* parent_hold = TakeParentHold();
  if (anchor_) {
    anchor_->node = nullptr;
    ReleaseAnchor(anchor_);
  }
  if (mobjRoot) ReleaseAnchor(mobjRoot);
  // The last queued goes first: the children before the siblings, in the order a tree read
  // from text stands in memory.
  ReleaseLater(parent_hold, nullptr);
  ReleaseLater(mobjNextSibling.Detach(), former_parent);
  ReleaseLater(mobjChild.Detach(), this);
}

void DocNode::ReleaseAnchor(Anchor* anchor) {
  if (--anchor->refs == 0) delete anchor;
}

DocNode::Anchor* DocNode::GetAnchor() {
  if (!anchor_) anchor_ = new Anchor{this, 1, {}};
  return anchor_;
}

Ref<DocNode> DocNode::Root() const {
  return Ref<DocNode>(mobjRoot ? mobjRoot->node : nullptr);
}

int32_t DocNode::Children() const {
  int32_t count = 0;
  for (DocNode* c = mobjChild.Get(); c; c = c->mobjNextSibling.Get()) ++count;
  return count;
}

Ref<DocNode> DocNode::LastSibling() {
  DocNode* last = this;
  while (last->mobjNextSibling) last = last->mobjNextSibling.Get();
  return Ref<DocNode>(last);
}

Ref<DocNode> DocNode::FirstSibling() const {
  if (!mobjParent) ThrowPlatformError(kErrObjectNotSet);
  return mobjParent->mobjChild;
}

void DocNode::SetName(String Value) {
  if (Value.view().find(u' ') != std::u16string_view::npos) ThrowPlatformError(102);
  mstrName = NodeName::Shared(Value);
}

Variant DocNode::Value() const {
  return mvntValue.Get();
}

void DocNode::SetValue(Variant Value) {
  Variant stored = Value.IsObject() ? DefaultValue(Value.ToObject()) : std::move(Value);
  const String* text = stored.GetIf<String>();
  // A count that does not fit is left uncounted: the writer counts that text again.
  const size_t quotes = text ? CountUnit(text->view(), u'"') : kQuotesUncounted;
  mvntValue.Set(std::move(stored));
  value_quotes_ = static_cast<uint32_t>(std::min<size_t>(quotes, kQuotesUncounted));
}

Ref<Attributes> DocNode::Attributes() {
  if (!AttributesIfAny()) mobjAttributes.SetObject(MakeRef<borvane::Attributes>());
  return Ref<borvane::Attributes>(mobjAttributes.object());
}

Attributes* DocNode::AttributesIfAny() {
  if (mobjAttributes.has_packed()) {
    Ref<borvane::Attributes> made = MakeRef<borvane::Attributes>();
    made->Unpack(mobjAttributes);
    mobjAttributes.SetObject(std::move(made));
  }
  return mobjAttributes.object();
}

String DocNode::Path() const {
  std::vector<const DocNode*> chain;
  for (const DocNode* n = this; n; n = n->mobjParent) chain.push_back(n);
  const String& separator = gstrPathSeparator();
  std::u16string path;
  for (size_t i = chain.size(); i-- > 0;) {
    path += chain[i]->mstrName.view();
    if (i > 0) path += separator.view();
  }
  return String(std::move(path));
}

int32_t DocNode::Level() const {
  int32_t level = 0;
  for (const DocNode* n = mobjParent; n; n = n->mobjParent) ++level;
  return level;
}

void DocNode::SetRoot(DocNode* node) {
  Anchor* anchor = node ? node->GetAnchor() : nullptr;
  if (anchor) ++anchor->refs;
  if (mobjRoot) ReleaseAnchor(mobjRoot);
  mobjRoot = anchor;
}

void DocNode::SetParent(DocNode* node) {
  if (mobjParent) mobjParent->tail_ = nullptr;
  mobjParent = node;
}

void DocNode::SetChild(Ref<DocNode> node) {
  mobjChild = std::move(node);
  tail_ = nullptr;
}

void DocNode::SetPreviousSibling(DocNode* node) {
  mobjPreviousSibling = node;
}

void DocNode::SetNextSibling(Ref<DocNode> node) {
  if (mobjParent) mobjParent->tail_ = nullptr;
  mobjNextSibling = std::move(node);
}

void DocNode::RehomeChildren(DocNode* old_first) {
  std::unordered_set<DocNode*> listed;
  tail_ = nullptr;
  for (DocNode* c = mobjChild.Get(); c; c = c->mobjNextSibling.Get()) {
    listed.insert(c);
    if (c->anchor_ && c->anchor_->parent_hold.Get() == this) c->anchor_->parent_hold.Reset();
    tail_ = c;
  }
  for (DocNode* c = old_first; c && !listed.count(c); c = c->mobjNextSibling.Get())
    if (c->mobjParent == this) c->GetAnchor()->parent_hold = Ref<DocNode>(this);
}

void DocNode::RemoveNode(String& Keys) {
  struct Frame {
    Ref<DocNode> node;
    Ref<DocNode> next_child;
  };
  std::vector<Frame> stack;
  // Steps on the way down: join the neighbours, move the parent's Child on, empty attributes.
  auto enter = [&stack](Ref<DocNode> n) {
    DocNode* prev = n->mobjPreviousSibling;
    Ref<DocNode> next = n->mobjNextSibling;
    DocNode* parent = n->mobjParent;
    if (prev) prev->mobjNextSibling = next;
    if (next) next->mobjPreviousSibling = prev;
    if (parent) {
      if (parent->tail_ == n.Get()) parent->tail_ = prev;
      // The parent's Child is compared by key, not by identity.
      if (parent->mobjChild && parent->mobjChild->mstrKey == n->mstrKey) {
        Ref<DocNode> old_first = parent->mobjChild;
        parent->mobjChild = next;
        if (old_first != n) parent->RehomeChildren(old_first.Get());
      }
    }
    // An attributes object a caller may hold is emptied in place; packed pairs just go.
    if (borvane::Attributes* attributes = n->mobjAttributes.object()) attributes->ClearAll();
    if (n->mobjAttributes.has_packed()) n->mobjAttributes.Reset();
    Ref<DocNode> first = n->mobjChild;
    stack.push_back({std::move(n), std::move(first)});
  };
  enter(Ref<DocNode>(this));
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (top.next_child) {
      Ref<DocNode> child = std::move(top.next_child);
      top.next_child = child->mobjNextSibling;
      enter(std::move(child));
      continue;
    }
    Ref<DocNode> node = std::move(top.node);
    stack.pop_back();
    node->ClearLinks();
    if (Keys.empty()) {
      Keys = node->mstrKey.ToString();
    } else {
      std::u16string& keys = Keys.mutable_str();
      keys += u',';
      keys += node->mstrKey.Text().view();
    }
  }
}

void DocNode::ClearLinks() {
  if (mobjNextSibling && mobjNextSibling->mobjPreviousSibling == this)
    mobjNextSibling->mobjPreviousSibling = nullptr;
  SetRoot(nullptr);
  mobjParent = nullptr;
  mobjPreviousSibling = nullptr;
  tail_ = nullptr;
  mobjAttributes.Reset();
  // The children's links to this node are cleared as their release reaches them.
  ReleaseLater(mobjChild.Detach(), this);
  ReleaseLater(mobjNextSibling.Detach(), nullptr);
  ReleaseLater(TakeParentHold(), nullptr);
}

}  // namespace borvane
