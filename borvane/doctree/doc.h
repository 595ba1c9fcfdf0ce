// Doc: a document of DocNode objects in a flat keyed list, the tree links between them, and
// their XML text form.
//
// Making a Doc resets the thread's path separator to "//". A Doc released without Clear frees
// the nodes that no caller holds; a node a caller holds stays usable (see doc_node.h).
#ifndef BORVANE_DOCTREE_DOC_H_
#define BORVANE_DOCTREE_DOC_H_

#include <cstdint>
#include <functional>

#include "borvane/automation/binding.h"
#include "borvane/doctree/doc_node.h"
#include "borvane/doctree/node_list.h"

namespace borvane {

// How Doc.Add links a node to its relative. Only iagChild links; the default of Add is 2.
enum enumRelationship : int32_t { iagChild = 4 };
const TypeDesc& enumRelationshipType();

class Doc : public Dispatchable<Doc> {
 public:
  static constexpr const char* kClassName = "Doc";
  static void Describe(ClassBuilder<Doc>& b);

  Doc();
  ~Doc() override;

  // Adds a node (guarded: "Doc:Add Method"). An empty Key is generated and written back. With
  // Relationship iagChild and a Relative key the node becomes that node's last child; any other
  // Relationship leaves it unlinked. Nothing done before a failure is undone.
  Ref<DocNode> Add(String& Relative, enumRelationship& Relationship, String& Key, String& Name,
                   Variant& Value);
  // The node under a key or at a position from 1; the Collection's errors pass through.
  Ref<DocNode> Item(Variant& vntIndexKey);
  Ref<DocNode> Item(const Variant& vntIndexKey);
  int32_t Count() const { return mcolNodes.Count(); }
  // Takes the node and its whole subtree out (guarded: "Doc:Remove Method").
  void Remove(Variant& vntIndexKey);
  // Enumerates the nodes in the order of adding.
  Ref<Enumerator> NewEnum();
  // Removes the node at position 1 with its subtree: one removal, no loop.
  void Clear();
  // The text of the tree of position 1, or of StartNodeKey (guarded: "Doc:WriteXML Method").
  String WriteXML(bool& indent, String& StartNodeKey);
  // The same text, passed to `write` a piece at a time as it is made, for a caller that writes
  // it out: a large tree's text is never held whole. Not on the automation interface.
  void WriteXMLTo(const std::function<void(std::u16string_view)>& write, bool indent,
                  const String& StartNodeKey = String());
  // Adds the nodes of the text, below ParentKey when given (guarded: "Doc:ReadXML Method").
  void ReadXML(String& XMLText, String& ParentKey);
  // The thread's path separator, shared by every Doc and DocNode of the thread.
  void SetPathSeparator(String Value);
  String PathSeparator() const;
  // A new Doc that shares every node whose Path holds Expression, exactly and with case.
  Ref<Doc> SelectNodes(String& Expression);
  // "N" and the next number of this Doc's counter; error 6 past 2147483647.
  String CreateKey();

  // Library-internal: puts an existing node into this Doc under its own key, with no link.
  Ref<DocNode> AddExistingNode(Ref<DocNode>& Node);
  // Library-internal: the text without the white space that stands outside tags and quotes.
  String StripWhitespace(String& Text);

 private:
  // Add without its guard.
  DocNode* AddNode(const String& relative, int32_t relationship, String& key, String name,
                   Variant value);
  // Add as the reader calls it: a generated key, a name without spaces, and `relative` (or
  // nullptr for none), a node of this Doc's list, standing for the relative's key. The value is
  // Empty, for the reader to set. `root` is the handle on position 1, taken on the first call
  // of a read.
  DocNode* AddReadNode(DocNode* relative, const NodeName& name, DocNode::Anchor*& root);
  // Puts a new node into the list under its key and sets its root.
  void Insert(DocNode* node);

  NodeList mcolNodes;
  int32_t mlngLastKey = 0;
};

}  // namespace borvane

#endif  // BORVANE_DOCTREE_DOC_H_
