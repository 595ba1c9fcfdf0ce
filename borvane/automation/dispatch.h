// Late binding: creating classes by ProgID and calling members by name, as an automation
// client does, plus enumeration and outgoing events.
#ifndef BORVANE_AUTOMATION_DISPATCH_H_
#define BORVANE_AUTOMATION_DISPATCH_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "borvane/automation/binding.h"
#include "borvane/automation/object.h"
#include "borvane/automation/string.h"
#include "borvane/automation/typeinfo.h"
#include "borvane/automation/variant.h"

namespace borvane {

enum VbCallType : int32_t { VbMethod = 1, VbGet = 2, VbLet = 4, VbSet = 8 };

// Creates an object of the class with that ProgID ("Borvane.Doc", case-blind). Error 429 when
// no class has it or the class may not be created by callers.
Object CreateObject(const String& prog_id);

// Calls `member` (case-blind) on `obj`. VbMethod and VbGet reach methods and property gets,
// VbLet a property let, VbSet a property set; the value of a let or set is the last argument.
// Trailing optional arguments may be left off or passed as the missing marker. Arguments
// convert to the declared parameter types (13 or 6 when they cannot); a by-reference
// parameter's change is written back into `args`. Error 91 on Nothing, 438 for a member that
// is not there, 449 for a required argument left off, 450 for too many arguments.
Variant CallByName(const Object& obj, const String& member, VbCallType kind,
                   std::vector<Variant>& args);
Variant CallByName(const Object& obj, const String& member, VbCallType kind,
                   std::vector<Variant>&& args = {});

// Calls the member through the class's type information (what ObjectBase::Invoke does unless a
// class answers calls itself).
Variant InvokeByTypeInfo(ObjectBase& self, const String& member, int32_t kind,
                         std::vector<Variant>& args);

// An enumeration, as a collection's hidden NewEnum member (id -4) gives it.
class Enumerator : public ObjectBase {
 public:
  // The next item into `item`; false at the end.
  virtual bool Next(Variant& item) = 0;
  const ClassInfo& GetClassInfo() const override;
};

// An enumerator over a function that yields items until it returns false.
Ref<Enumerator> MakeEnumerator(std::function<bool(Variant&)> next);

// For Each: enumerates `collection` through its enumerator member. Error 91 on Nothing, 438
// when the object cannot be enumerated.
void ForEach(const Object& collection, const std::function<void(const Variant&)>& body);

// The connection point of an object's outgoing events. A connection is a C++ callback for one
// event, or a sink object whose method of the event's name is called by name (a sink without
// that method does not get that event).
class EventSource {
 public:
  using Callback = std::function<void(std::vector<Variant>& args)>;

  // Returns a cookie for Disconnect.
  int32_t Connect(const String& event, Callback callback);
  int32_t Connect(Object sink);
  void Disconnect(int32_t cookie);
  int32_t ConnectionCount() const { return static_cast<int32_t>(connections_.size()); }

  // Raises `event` to every connection made before the call, in the order of connecting. A
  // connection dropped during the raise is not called. A sink's error reaches the raiser.
  void Raise(const String& event, std::vector<Variant>& args);
  void Raise(const String& event) {
    std::vector<Variant> none;
    Raise(event, none);
  }

 private:
  struct Connection {
    int32_t cookie;
    String event;
    Callback callback;
    Object sink;
  };
  std::vector<std::shared_ptr<Connection>> connections_;
  int32_t next_cookie_ = 1;
};

// Connects to `source`'s outgoing events. Error 438 when it has none.
int32_t ConnectEvents(const Object& source, const String& event, EventSource::Callback callback);
int32_t ConnectEvents(const Object& source, Object sink);
void DisconnectEvents(const Object& source, int32_t cookie);

// The classes known by name: the library's, in class-table order, then callers' own.
std::vector<const ClassInfo*> RegisteredClasses();
const ClassInfo* FindClassByProgId(const String& prog_id);
const ClassInfo* FindClassById(const String& clsid);
// Makes a caller's own class creatable and callable by name like a library class.
template <class T>
void RegisterClass() {
  RegisterClassInfo(&T::StaticClassInfo);
}

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_DISPATCH_H_
