// GoogleTest's Notification for the mingw-w64 win32 thread model, which has
// no std::mutex / std::condition_variable (gtest 1.12 takes them for granted
// on Windows). Force-included before gtest's headers in the cross build;
// only gtest's own threading helpers use it, the kvdata tests never start
// threads.
#ifndef KVDATA_GTEST_NOTIFICATION_WIN32_H
#define KVDATA_GTEST_NOTIFICATION_WIN32_H
#ifdef __cplusplus

#include <atomic>

extern "C" __declspec(dllimport) void __stdcall Sleep(unsigned long milliseconds);

namespace testing {
namespace internal {

class Notification {
 public:
  Notification() : notified_(false) {}
  Notification(const Notification&) = delete;
  Notification& operator=(const Notification&) = delete;
  void Notify() { notified_.store(true); }
  void WaitForNotification() {
    while (!notified_.load()) Sleep(1);
  }

 private:
  std::atomic<bool> notified_;
};

}  // namespace internal
}  // namespace testing

#endif
#endif
