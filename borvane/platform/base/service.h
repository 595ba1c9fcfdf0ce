// How classes reach a platform service: through the one instance in force on the calling
// thread, which tests replace with a double for the length of a scope.
#ifndef BORVANE_PLATFORM_BASE_SERVICE_H_
#define BORVANE_PLATFORM_BASE_SERVICE_H_

namespace borvane::platform {

// Service is an interface with a static `Service& Real()` giving the real implementation.
// Current<Service>() is the override installed on this thread, else the real one.
template <class Service>
class Current {
 public:
  static Service& Get() {
    Service* s = Slot();
    return s ? *s : Service::Real();
  }

 private:
  template <class>
  friend class ScopedService;
  static Service*& Slot() {
    thread_local Service* override_service = nullptr;
    return override_service;
  }
};

// Installs `service` as the current one on this thread until the scope ends.
template <class Service>
class ScopedService {
 public:
  explicit ScopedService(Service& service) : previous_(Current<Service>::Slot()) {
    Current<Service>::Slot() = &service;
  }
  ~ScopedService() { Current<Service>::Slot() = previous_; }
  ScopedService(const ScopedService&) = delete;
  ScopedService& operator=(const ScopedService&) = delete;

 private:
  Service* previous_;
};

}  // namespace borvane::platform

#endif  // BORVANE_PLATFORM_BASE_SERVICE_H_
