#include "borvane/doctree/doc.h"

#include <charconv>
#include <memory>

#include "borvane/automation/dispatch.h"
#include "borvane/automation/text.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"
#include "borvane/frame/global.h"

namespace borvane {

const TypeDesc& enumRelationshipType() {
  static const std::unique_ptr<TypeDesc> type =
      TypeDesc::Enum("enumRelationship", {{"iagChild", Variant(int32_t{iagChild}), ""}});
  return *type;
}

void Doc::Describe(ClassBuilder<Doc>& b) {
  TypeRef relationship = TypeRef::Described(enumRelationshipType());
  b.Creatable()
      .Order(kOrderDoc)
      .Ids(ClassId(kOrderDoc), InterfaceId(kOrderDoc))
      .Method("Add", &Doc::Add,
              {Opt("Relative"), Opt("Relationship", int32_t{2}).Type(relationship), Opt("Key"),
               Opt("Name"), Opt("Value")})
      .Get("Item", static_cast<Ref<DocNode> (Doc::*)(Variant&)>(&Doc::Item), {"vntIndexKey"},
           {.id = DISPID_VALUE})
      .Get("Count", &Doc::Count)
      .Method("Remove", &Doc::Remove, {"vntIndexKey"})
      .Get("NewEnum", &Doc::NewEnum, {}, {.id = DISPID_NEWENUM, .attributes = {"Hidden"}})
      .Method("Clear", &Doc::Clear)
      .Method("WriteXML", &Doc::WriteXML, {Opt("indent", false), Opt("StartNodeKey", "")})
      .Method("ReadXML", &Doc::ReadXML, {"XMLText", Opt("ParentKey", "")})
      .Let("PathSeparator", &Doc::SetPathSeparator, {"Value"})
      .Get("PathSeparator", &Doc::PathSeparator)
      .Method("SelectNodes", &Doc::SelectNodes, {"Expression"})
      .Method("CreateKey", &Doc::CreateKey);
}

Doc::Doc() {
  gstrPathSeparator() = String(u"//");
}

// The list releases the nodes; those that no caller holds go with it.
Doc::~Doc() = default;

String Doc::CreateKey() {
  if (mlngLastKey == INT32_MAX) ThrowPlatformError(kErrOverflow);
  ++mlngLastKey;
  char16_t key[12] = {u'N'};
  size_t size = 1;
  char digits[11];
  char* end = std::to_chars(digits, digits + sizeof digits, mlngLastKey).ptr;
  for (char* d = digits; d < end; ++d) key[size++] = static_cast<char16_t>(*d);
  return String(std::u16string_view(key, size));
}

void Doc::Insert(DocNode* node) {
  mcolNodes.Add(node);
  node->SetRoot(mcolNodes.At(1));
}

DocNode* Doc::AddNode(const String& relative, int32_t relationship, String& key, String name,
                      Variant value) {
  if (key.empty()) key = CreateKey();
  Ref<DocNode> node = MakeRef<DocNode>();
  node->SetKey(key);
  node->SetName(std::move(name));
  node->SetValue(std::move(value));
  Insert(node.Get());
  if (mcolNodes.Count() > 1 && !relative.empty()) {
    DocNode* found = mcolNodes.Find(relative.view());
    if (!found) ThrowPlatformError(kErrInvalidCall);
    if (relationship == iagChild) found->AppendChild(node.Get());
  }
  return node.Get();
}

DocNode* Doc::AddReadNode(DocNode* relative, const NodeName& name, DocNode::Anchor*& root) {
  if (mlngLastKey == INT32_MAX) ThrowPlatformError(kErrOverflow);
  // Made here rather than through MakeRef, so that making a node is inlined into the reader's
  // one call per node.
  Ref<DocNode> node(new DocNode());
  // CreateKey's key, held as its number.
  const uint32_t number = static_cast<uint32_t>(++mlngLastKey);
  node->mstrKey.SetNumber(number);
  node->mstrName = name;  // the reader cut the name at its first space
  mcolNodes.AddNumbered(node.Get(), number);
  // Position 1 stays the same while a text is read: its handle is taken once.
  if (!root) root = mcolNodes.At(1)->GetAnchor();
  ++root->refs;
  node->mobjRoot = root;
  // The relative is the node ParentKey named or one this call added: it stands in this Doc's
  // list under its key, so looking the key up would find the node itself.
  if (relative && mcolNodes.Count() > 1) relative->AppendChild(node.Get());
  return node.Get();
}

Ref<DocNode> Doc::Add(String& Relative, enumRelationship& Relationship, String& Key, String& Name,
                      Variant& Value) {
  return Guarded("Doc:Add Method",
                 [&] { return Ref<DocNode>(AddNode(Relative, Relationship, Key, Name, Value)); });
}

Ref<DocNode> Doc::Item(Variant& vntIndexKey) {
  const Variant& index = vntIndexKey;
  return Item(index);
}

Ref<DocNode> Doc::Item(const Variant& vntIndexKey) {
  return Ref<DocNode>(mcolNodes.Item(vntIndexKey));
}

void Doc::Remove(Variant& vntIndexKey) {
  Guarded("Doc:Remove Method", [&] {
    Ref<DocNode> node = Item(vntIndexKey);
    String keys;
    node->RemoveNode(keys);
    // The key list is split at commas: a key that holds one fails here, after the unlinking.
    for (const String& key : Split(keys, u",")) mcolNodes.Remove(key.view());
  });
}

void Doc::Clear() {
  if (Count() > 0) {
    Variant key = mcolNodes.At(1)->Key();
    Remove(key);
  }
}

Ref<Enumerator> Doc::NewEnum() {
  // The enumeration pins the list's slots, so that removals leave its place valid.
  struct State {
    explicit State(Ref<Doc> d) : doc(std::move(d)) { doc->mcolNodes.PinSlots(); }
    ~State() { doc->mcolNodes.UnpinSlots(); }
    Ref<Doc> doc;
    size_t next = 0;
  };
  auto state = std::make_shared<State>(Ref<Doc>(this));
  return MakeEnumerator([state](Variant& item) {
    NodeList& list = state->doc->mcolNodes;
    while (state->next < list.SlotCount()) {
      DocNode* node = list.Slot(state->next++);
      if (node) {
        item = Variant(Ref<DocNode>(node));
        return true;
      }
    }
    return false;
  });
}

void Doc::SetPathSeparator(String Value) {
  gstrPathSeparator() = std::move(Value);
}

String Doc::PathSeparator() const {
  return gstrPathSeparator();
}

Ref<DocNode> Doc::AddExistingNode(Ref<DocNode>& Node) {
  if (!Node) ThrowPlatformError(kErrObjectNotSet);
  mcolNodes.Add(Node.Get());
  return Node;
}

BORVANE_REGISTER_CLASS(Doc)

}  // namespace borvane
