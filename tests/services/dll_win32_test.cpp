// kvdata.dll as a shop program uses it: loaded at run time, entry points
// looked up by their exported names (decorated stdcall names on 32-bit
// Windows), its string table read from its own resources, and its state kept
// apart from a copy of the library linked into the program.
#if defined(_WIN32)
#include <windows.h>

#include <string>

#include "kvdata/dba.h"
#include "kvdata/kvhost.h"
#include "kvtest.h"

namespace {

// kvdata.dll sits in the build directory, one level above the test program.
std::string DllPath() {
  char self[MAX_PATH];
  DWORD n = GetModuleFileNameA(nullptr, self, sizeof self);
  std::string p(self, n);
  p.erase(p.find_last_of("\\/"));
  p.erase(p.find_last_of("\\/") + 1);
  return p + "kvdata.dll";
}

class DllTest : public ::testing::Test {
 protected:
  void SetUp() override {
    dll_ = LoadLibraryA(DllPath().c_str());
    ASSERT_NE(dll_, nullptr) << DllPath();
  }
  void TearDown() override {
    if (dll_) FreeLibrary(dll_);
  }
  template <typename F>
  F Entry(const char* name) {
    return reinterpret_cast<F>(reinterpret_cast<void*>(GetProcAddress(dll_, name)));
  }
  HMODULE dll_ = nullptr;
};

TEST_F(DllTest, StdcallEntriesCarryTheirDecorationOnlyOn32Bit) {
#if defined(_WIN64)
  EXPECT_NE(Entry<FARPROC>("DBA_InitDBA"), nullptr);
  EXPECT_EQ(Entry<FARPROC>("_DBA_InitDBA@4"), nullptr);
#else
  EXPECT_NE(Entry<FARPROC>("_DBA_InitDBA@4"), nullptr);
  EXPECT_EQ(Entry<FARPROC>("DBA_InitDBA"), nullptr);
  EXPECT_EQ(Entry<FARPROC>("DBA_InitDBA@4"), nullptr);
#endif
  EXPECT_NE(Entry<FARPROC>("DBA_NewITEM"), nullptr);
  EXPECT_EQ(Entry<FARPROC>("_DBA_NewITEM"), nullptr);
  // Internal functions stay inside.
  EXPECT_EQ(Entry<FARPROC>("FileIO_OpenRWS"), nullptr);
}

TEST_F(DllTest, TheDllReadsItsOwnStringTableAndKeepsItsOwnLanguage) {
  auto setLanguage = Entry<int32_t (*)(int32_t)>("KVHOST_SetLanguage");
  auto loadString = Entry<int32_t (*)(int32_t, char*, int32_t)>("KVHOST_LoadString");
  ASSERT_NE(setLanguage, nullptr);
  ASSERT_NE(loadString, nullptr);
  ASSERT_EQ(setLanguage(KV_LANG_DUTCH), 1);
  char text[512];
  ASSERT_GT(loadString(108, text, sizeof text), 0);
  EXPECT_EQ(std::string(text).rfind("De NummernDBA werd niet gevonden!\n", 0), 0u) << text;
  EXPECT_EQ(loadString(104, text, sizeof text), 7);
  EXPECT_STREQ(text, "KALVORA");
  // The copy linked into this program has a language of its own.
  KVHOST_SetLanguage(KV_LANG_GERMAN);
  ASSERT_GT(KVHOST_LoadString(108, text, sizeof text), 0);
  EXPECT_EQ(std::string(text).rfind("Die NummernDBA wurde nicht gefunden!\n", 0), 0u) << text;
  setLanguage(KV_LANG_GERMAN);
}

}  // namespace
#endif
