// The library's class table: which classes callers may create, their identities, and the four
// entry points that hand a class factory and registration to the runtime.
#ifndef BORVANE_FRAME_CLASS_TABLE_H_
#define BORVANE_FRAME_CLASS_TABLE_H_

#include <cstdint>
#include <string>
#include <vector>

#include "borvane/automation/typeinfo.h"

namespace borvane {

// Positions in the library's own class list. Each class passes its position to
// ClassBuilder::Order, and its identifiers are ClassId(position) and InterfaceId(position).
enum ClassOrder : int32_t {
  kOrderAttributeObj = 1,
  kOrderAttributes = 2,
  kOrderDocNode = 3,
  kOrderProperties = 4,
  kOrderProperty = 5,
  kOrderTimerEvent = 6,
  kOrderTimer = 7,
  kOrderDoc = 8,
  kOrderFontobj = 9,
  kOrderCStringBuilder = 10,
  kOrderInifile = 11,
  kOrderIniFileKey = 12,
  kOrderIniFileKeys = 13,
  kOrderIniFileSection = 14,
  kOrderIniFileSections = 15,
  kOrderFontFunctions = 16,
  kOrderHTMLHelp = 17,
  kOrderIStatusCallBack = 18,
};

// The type library's identity.
inline constexpr const char* kTypeLibraryName = "Borvane";
inline constexpr const char* kTypeLibraryTitle = "Borvane Objects";
inline constexpr const char* kTypeLibraryId = "{B0A7A1E0-0000-4B00-8000-000000000000}";

// The fixed class and interface identifiers of the class at `order`.
std::string ClassId(int32_t order);
std::string InterfaceId(int32_t order);
std::string EventInterfaceId(int32_t order);

// The library's classes in class-table order (callers' own classes are not in it).
std::vector<const ClassInfo*> LibraryClasses();

// The public enumerations of the type library, each once, class by class in class-table order:
// those the members of a class take, then those that belong to it otherwise.
std::vector<const TypeDesc*> LibraryEnumerations();

}  // namespace borvane

// The four exports of libborvane.so, as an in-process server has them. Identifiers are passed
// as their text form ("{...}"); an object comes back with one reference that the caller owns.
extern "C" {
// 0 (S_OK) when no object of the library is alive in this process, else 1 (S_FALSE).
int32_t DllCanUnloadNow(void);
// A new object of the class with that class identifier in *object (its ObjectBase*), or
// 0x80040111 (CLASS_E_CLASSNOTAVAILABLE) for an unknown or not creatable class.
int32_t DllGetClassObject(const char* clsid, void** object);
// Records the class table in the platform's registry store; 0 on success.
int32_t DllRegisterServer(void);
// Removes what DllRegisterServer recorded; 0 on success.
int32_t DllUnregisterServer(void);
}

#endif  // BORVANE_FRAME_CLASS_TABLE_H_
