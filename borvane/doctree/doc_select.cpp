// Node selection: Doc.SelectNodes by a text in the path, DocNode.SelectSingleNode by name.
#include <unordered_map>
#include <vector>

#include "borvane/automation/text.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/global.h"

namespace borvane {

namespace {

// Tells whether a text occurs in a node's Path, exactly and with case. A path is the parent's
// path, the separator and the name, so the search state of each node continues its parent's
// (Knuth-Morris-Pratt) instead of building and searching every path anew: a deep tree costs
// time in proportion to its size, not to the sum of its paths.
class PathMatcher {
 public:
  PathMatcher(std::u16string_view pattern, std::u16string_view separator)
      : pattern_(pattern), separator_(separator), fail_(pattern.size(), 0) {
    for (size_t i = 1, k = 0; i < pattern_.size(); ++i) {
      while (k > 0 && pattern_[i] != pattern_[k]) k = fail_[k - 1];
      if (pattern_[i] == pattern_[k]) ++k;
      fail_[i] = k;
    }
  }

  bool Matches(const DocNode* node) { return StateOf(node).found; }

 private:
  struct State {
    size_t matched = 0;  // length of the pattern's longest prefix that ends the path
    bool found = false;
    bool non_empty = false;  // the empty text is found in any non-empty path
  };

  void Feed(State& s, std::u16string_view text) const {
    if (text.empty()) return;
    s.non_empty = true;
    if (pattern_.empty()) {
      s.found = true;
      return;
    }
    for (char16_t ch : text) {
      if (s.found) return;
      while (s.matched > 0 && pattern_[s.matched] != ch) s.matched = fail_[s.matched - 1];
      if (pattern_[s.matched] == ch && ++s.matched == pattern_.size()) s.found = true;
    }
  }

  State StateOf(const DocNode* node) {
    std::vector<const DocNode*> chain;
    const DocNode* n = node;
    for (; n && !states_.count(n); n = n->Parent().Get()) chain.push_back(n);
    for (size_t i = chain.size(); i-- > 0;) {
      const DocNode* parent = i + 1 < chain.size() ? chain[i + 1] : n;
      State s;
      if (parent) {
        s = states_[parent];
        Feed(s, separator_);
      }
      Feed(s, chain[i]->Name().view());
      states_[chain[i]] = s;
    }
    return states_[node];
  }

  std::u16string pattern_;
  std::u16string separator_;
  std::vector<size_t> fail_;
  std::unordered_map<const DocNode*, State> states_;
};

}  // namespace

Ref<Doc> Doc::SelectNodes(String& Expression) {
  // A new Doc sets the separator back to "//" before any path is looked at.
  Ref<Doc> selection = MakeRef<Doc>();
  PathMatcher matcher(Expression.view(), gstrPathSeparator().view());
  for (size_t i = 0; i < mcolNodes.SlotCount(); ++i) {
    DocNode* node = mcolNodes.Slot(i);
    if (node && matcher.Matches(node)) {
      Ref<DocNode> shared(node);
      selection->AddExistingNode(shared);
    }
  }
  return selection;
}

Ref<DocNode> DocNode::SelectSingleNode(String& Name, bool& InclSubNodes) {
  if (EqualsNoCase(mstrName.view(), Name.view())) return Ref<DocNode>(this);
  // Depth first in document order: each child is looked at before its own subtree.
  std::vector<DocNode*> pending;  // the next sibling to look at, per level
  pending.push_back(mobjChild.Get());
  while (!pending.empty()) {
    DocNode* child = pending.back();
    if (!child) {
      pending.pop_back();
      continue;
    }
    pending.back() = child->mobjNextSibling.Get();
    if (EqualsNoCase(child->mstrName.view(), Name.view())) return Ref<DocNode>(child);
    if (InclSubNodes) pending.push_back(child->mobjChild.Get());
  }
  return Ref<DocNode>();
}

}  // namespace borvane
