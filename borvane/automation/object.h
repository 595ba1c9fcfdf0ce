// Automation objects: reference-counted instances with one default interface.
//
// Every class of the library derives from ObjectBase and is held through Ref<T> (typed) or
// Object (untyped). Counts are plain integers: objects are apartment threaded and stay on the
// thread that made them.
#ifndef BORVANE_AUTOMATION_OBJECT_H_
#define BORVANE_AUTOMATION_OBJECT_H_

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <vector>

namespace borvane {

class ClassInfo;
class EventSource;
class String;
class Variant;

// Objects of the library alive in this process (what DllCanUnloadNow asks).
int64_t LiveObjectCount();

namespace object_internal {
// This thread's counter of the objects it has made and not yet freed; nullptr until its first.
// In the initial TLS block, so that counting an object costs no call.
extern constinit thread_local std::atomic<int64_t>* t_live_count
    __attribute__((tls_model("initial-exec")));
// Makes the thread's counter, then counts.
void AdjustLiveObjectCountFirst(int delta);
}  // namespace object_internal

// Inline everywhere: every object made or freed counts, and a call would cost more than the count.
[[gnu::always_inline]] inline void AdjustLiveObjectCount(int delta) {
  std::atomic<int64_t>* count = object_internal::t_live_count;
  if (!count) return object_internal::AdjustLiveObjectCountFirst(delta);
  count->store(count->load(std::memory_order_relaxed) + delta, std::memory_order_relaxed);
}

class ObjectBase {
 public:
  ObjectBase() { AdjustLiveObjectCount(1); }
  ObjectBase(const ObjectBase&) = delete;
  ObjectBase& operator=(const ObjectBase&) = delete;

  void AddRef() const { ++refs_; }
  // Releases one reference; the object is destroyed with the last one.
  void Release() const {
    if (--refs_ == 0) delete this;
  }
  uint32_t RefCount() const { return refs_; }

  // The class this object is an instance of: its name, default interface and members.
  virtual const ClassInfo& GetClassInfo() const = 0;
  // The late-bound call of a member by name; `kind` is 1 method, 2 get, 4 let, 8 set. The
  // default goes through the class's type information; an object may answer calls itself.
  virtual Variant Invoke(const String& member, int32_t kind, std::vector<Variant>& args);
  // The connection point of the object's outgoing events, or nullptr when it has none.
  virtual EventSource* GetEventSource() { return nullptr; }

 protected:
  virtual ~ObjectBase() { AdjustLiveObjectCount(-1); }

 private:
  mutable uint32_t refs_ = 0;
};

// A counted reference to an object of class T, or Nothing.
template <class T>
class Ref {
 public:
  Ref() = default;
  Ref(std::nullptr_t) {}
  // Takes a new reference to `p` (which may already be referenced elsewhere).
  explicit Ref(T* p) : p_(p) {
    if (p_) p_->AddRef();
  }
  Ref(const Ref& o) : Ref(o.p_) {}
  Ref(Ref&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(const Ref<U>& o) : Ref(static_cast<T*>(o.Get())) {}
  template <class U, class = std::enable_if_t<std::is_convertible_v<U*, T*>>>
  Ref(Ref<U>&& o) noexcept : p_(o.Detach()) {}
  ~Ref() {
    if (p_) p_->Release();
  }
  Ref& operator=(Ref o) noexcept {
    std::swap(p_, o.p_);
    return *this;
  }

  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  T& operator*() const { return *p_; }
  explicit operator bool() const { return p_ != nullptr; }
  bool IsNothing() const { return p_ == nullptr; }
  // Gives up the reference without releasing it.
  T* Detach() { return std::exchange(p_, nullptr); }
  void Reset() { Ref().swap_with(*this); }

  // The same object as a U, or Nothing when it is not one.
  template <class U>
  Ref<U> As() const {
    return Ref<U>(dynamic_cast<U*>(p_));
  }

  friend bool operator==(const Ref& a, const Ref& b) { return a.p_ == b.p_; }
  friend bool operator==(const Ref& a, std::nullptr_t) { return a.p_ == nullptr; }

 private:
  void swap_with(Ref& o) noexcept { std::swap(p_, o.p_); }
  T* p_ = nullptr;
};

// An untyped object reference, as an automation client holds it.
using Object = Ref<ObjectBase>;

// The name of the object's class, as TypeName gives it ("Doc", "Collection", ...).
String ClassNameOf(const ObjectBase& obj);

// Creates a new object of class T with one reference.
template <class T, class... Args>
Ref<T> MakeRef(Args&&... args) {
  return Ref<T>(new T(std::forward<Args>(args)...));
}

// A reference to `self` from inside a member, for members that return their own object.
template <class T>
Ref<T> RefTo(T* self) {
  return Ref<T>(self);
}

}  // namespace borvane

#endif  // BORVANE_AUTOMATION_OBJECT_H_
