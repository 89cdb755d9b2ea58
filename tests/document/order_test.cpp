// Order files: names, the block layout on disk, positions, numbers, walks,
// archive and the upgrade from 3980-byte blocks.
#include <climits>
#include <cstring>
#include <filesystem>
#include <ctime>
#include <string>
#include <vector>

#include "kvdata/auftragdba.h"
#include "kvdata/nummern.h"
#include "kvtest.h"
#include "services/fault.h"

namespace {

using kvtest::FileExists;
using kvtest::FileSize;
using kvtest::I32At;
using kvtest::ReadFileBytes;

constexpr int64_t B = AUFTRAGDBA_BLOCK;
constexpr int64_t B550 = AUFTRAGDBA_BLOCK550;
constexpr int32_t kHeader = INT32_MIN;

// A block whose bytes are all `seed`, so every block of a file is told apart.
std::vector<uint8_t> Block(uint8_t seed, int64_t size = B) {
  return std::vector<uint8_t>(static_cast<size_t>(size), seed);
}

// The bytes at the given offsets, to compare several layout facts at once.
std::vector<int> At(const std::vector<uint8_t>& bytes, std::initializer_list<int64_t> offsets) {
  std::vector<int> out;
  for (int64_t at : offsets) out.push_back(bytes.at(static_cast<size_t>(at)));
  return out;
}

bool Recent(uint32_t stamp) {
  const int64_t now = static_cast<int64_t>(std::time(nullptr));
  return stamp + 5 >= now && stamp <= now + 5;
}

class Orders : public kvtest::DataDirTest {
 protected:
  void SetUp() override {
    orderDir = dir() + "AUFTRAG/";
    ASSERT_TRUE(std::filesystem::create_directories(orderDir));
    AUFTRAGDBA_PLUS_ARCHIVE_Init(0, (orderDir + "AFT*.DAT").c_str(), "");  // no archive
    kvtest::WriteFileBytes(file("NUMMERN.DAT"), std::vector<uint8_t>(800, 0));
    Nummern_Init(file("NUMMERN.DAT").c_str());
  }
  std::string OrderPath(int32_t n) {
    char path[260];
    return AUFTRAGDBA_MakeFileName(n, path);
  }
  // An order with a header of `seed` bytes and `positions` positions.
  void MakeOrder(int32_t n, uint8_t seed, int32_t positions) {
    auto header = Block(seed);
    ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(n, header.data()), 1);
    for (int32_t p = 1; p <= positions; ++p) {
      auto pos = Block(static_cast<uint8_t>(seed + p));
      ASSERT_EQ(AUFTRAGDBA_NeuePOSITION(n, pos.data()), p);
    }
  }
  // Byte `at` of position p (or its reference copy; p = kHeader: the header) of
  // order n; -1 when it cannot be read, after checking the buffer came back
  // cleared.
  int PosByte(int32_t n, int32_t p, bool reference = false, size_t at = 100) {
    std::vector<uint8_t> buf = Block(0xEE);
    const int32_t ok = p == kHeader ? AUFTRAGDBA_LeseAuftragsKopf(n, buf.data())
                       : reference  ? AUFTRAGDBA_LeseReferenzPOSITION(n, p, buf.data())
                                    : AUFTRAGDBA_LesePOSITION(n, p, buf.data());
    if (ok == 1) return buf[at];
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(buf, Block(0)) << n << "/" << p;
    return -1;
  }
  std::string orderDir;
};

TEST_F(Orders, FileNamesAtEveryBoundary) {
  char out[260];
  const struct { int32_t n; const char* name; } cases[] = {
      {1, "AFT00001.DAT"},          {99999, "AFT99999.DAT"},
      {100000, "AFT00100000.DAT"},  {99999999, "AFT99999999.DAT"},
      {100000000, "AFT0100000000.DAT"}, {2147483647, "AFT2147483647.DAT"},
      {0, "AFT00000.DAT"},          {-5, "AFT-0005.DAT"},
  };
  for (const auto& c : cases) {
    EXPECT_STREQ(AUFTRAGDBA_CreateFileName(c.n, out, 0), c.name);
    EXPECT_EQ(std::string(AUFTRAGDBA_CreateFileName(c.n, out, 1)), orderDir + c.name);
    EXPECT_EQ(std::string(AUFTRAGDBA_MakeFileName(c.n, out)), orderDir + c.name);
  }
  EXPECT_EQ(AUFTRAGDBA_CreateFileName(1, nullptr, 1), nullptr);
}

TEST_F(Orders, HeaderPositionsAndReferenceCopiesLieAtTheirBlocks) {
  auto header = Block(0x11);
  ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(7, header.data()), 1);
  const int32_t h = AUFTRAGDBA_Open(7);
  ASSERT_NE(h, -1);
  for (int32_t p = 1; p <= 3; ++p) {
    auto pos = Block(static_cast<uint8_t>(0x20 + p));
    auto ref = Block(static_cast<uint8_t>(0x30 + p));
    ASSERT_EQ(AUFTRAGDBA_WritePosition(h, p, 0, pos.data()), 1);
    ASSERT_EQ(AUFTRAGDBA_WritePositionMitTimeInfo(h, p, 1, ref.data(), 0), 1);
  }
  EXPECT_EQ(AUFTRAGDBA_WritePosition(h, 0, 0, header.data()), 0);
  // An order file is addressed with 32-bit positions: from position 5185 on
  // (its block would end past 2 GiB) nothing is read or written.
  for (int32_t far : {5185, INT32_MAX}) {
    EXPECT_EQ(AUFTRAGDBA_WritePosition(h, far, 0, header.data()), 0) << far;
    EXPECT_EQ(AUFTRAGDBA_WritePositionMitTimeInfo(h, far, 1, header.data(), 0), 0) << far;
    EXPECT_EQ(AUFTRAGDBA_ReadPosition(h, far, 1, header.data()), 0) << far;
  }
  AUFTRAGDBA_Close(h);

  const auto bytes = ReadFileBytes(OrderPath(7));
  ASSERT_EQ(static_cast<int64_t>(bytes.size()), 7 * B);
  EXPECT_TRUE(Recent(static_cast<uint32_t>(I32At(bytes, 2))));
  EXPECT_EQ(I32At(bytes, 994), 560);
  // Header; the last byte of reference copy 2; position 3 at 5 * B = 1035540,
  // its reference copy at 6 * B = 1242648 up to the end of the file.
  EXPECT_EQ(At(bytes, {1, 6, 1046, 1035539, 1035540, 1242648, 7 * B - 1}),
            (std::vector<int>{0x11, 0x11, 0x11, 0x32, 0x23, 0x33, 0x33}));
  EXPECT_TRUE(Recent(static_cast<uint32_t>(I32At(bytes, 1035540 + 206912))));
  EXPECT_EQ(I32At(bytes, 1242648 + 206912), 0x33333333);  // written without stamp

  EXPECT_EQ(PosByte(7, 3), 0x23);
  EXPECT_EQ(PosByte(7, 2, true), 0x32);
  for (int32_t missing : {0, -1, 4}) EXPECT_EQ(PosByte(7, missing), -1);
  EXPECT_EQ(PosByte(8, 1), -1);  // no such order
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(7), 4);
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(8), 1);

  EXPECT_EQ(PosByte(7, kHeader, false, 500), 0x11);
  EXPECT_EQ(PosByte(8, kHeader), -1);
  EXPECT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(8, nullptr), 0);
  EXPECT_FALSE(FileExists(OrderPath(8)));

  // A file cut inside position 3: positions 1 and 2 stay readable, 3 is
  // missing, and a cut header reads as no order.
  auto cut = ReadFileBytes(OrderPath(7));
  cut.resize(static_cast<size_t>(5 * B + 10));
  kvtest::WriteFileBytes(OrderPath(9), cut);
  EXPECT_EQ(PosByte(9, 2), 0x22);
  EXPECT_EQ(PosByte(9, 3), -1);
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(9), 3);
  cut.resize(100);
  kvtest::WriteFileBytes(OrderPath(9), cut);
  std::vector<uint8_t> buf = Block(0x5A);
  EXPECT_EQ(AUFTRAGDBA_LeseAuftragsKopf(9, buf.data()), 0);
  EXPECT_EQ(buf, Block(0));  // nothing of the cut header is handed out
  EXPECT_EQ(AUFTRAGDBA_AuftragIstNochLeer(9), 1);
}

TEST_F(Orders, DeletedPositionsAreSkippedOnDiskAndInMemory) {
  MakeOrder(3, 0x40, 4);
  EXPECT_EQ(AUFTRAGDBA_LoeschePOSITION(3, 2), 1);
  EXPECT_EQ(AUFTRAGDBA_LoeschePOSITION(3, 9), 0);
  EXPECT_EQ(FileSize(OrderPath(3)), 9 * B);
  EXPECT_EQ(PosByte(3, 2), -1);
  EXPECT_EQ(PosByte(3, 2, true), -1);
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(3), 5);
  std::vector<uint8_t> buf = Block(0);
  std::vector<int32_t> seen;
  for (int32_t p = 0; AUFTRAGDBA_NextPOSITION(3, &p, buf.data());) {
    seen.push_back(p);
    EXPECT_EQ(buf[7], 0x40 + p);
  }
  EXPECT_EQ(seen, (std::vector<int32_t>{1, 3, 4}));

  // The same positions read in one go and walked in memory, each followed
  // by its reference copy.
  const int32_t h = AUFTRAGDBA_Open(3);
  ASSERT_NE(h, -1);
  ASSERT_EQ(AUFTRAGDBA_ReadAuftragsKopf(h, buf.data()), 1);
  std::vector<uint8_t> image(static_cast<size_t>(8 * B));
  EXPECT_EQ(AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(h, 4, image.data()), 8 * B);
  EXPECT_EQ(AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(-1, 4, image.data()), 0);
  EXPECT_EQ(AUFTRAGDBA_LeseAuftragspositionenKomplettInSpeicher(h, 20000, image.data()), 0);
  seen.clear();
  int32_t p = 0;
  while (uint8_t* pos = static_cast<uint8_t*>(AUFTRAGDBA_NextPOSITIONSADR_VomSpeicher(image.data(), 4, &p))) {
    seen.push_back(p);
    EXPECT_EQ(pos[9], 0x40 + p);
    EXPECT_EQ(pos[B + 9], 0x40 + p);
  }
  EXPECT_EQ(seen, (std::vector<int32_t>{1, 3, 4}));
  auto fresh = Block(0x66);
  EXPECT_EQ(AUFTRAGDBA_SetPOSDATA(image.data(), 4, 2, 0, fresh.data()), 1);
  EXPECT_EQ(AUFTRAGDBA_SetPOSDATA(image.data(), 4, 5, 0, fresh.data()), 0);
  p = 1;
  EXPECT_EQ(AUFTRAGDBA_NextPOSITION_VomSpeicher(image.data(), 4, &p, buf.data()), 1);
  EXPECT_EQ(p, 2);
  EXPECT_EQ(buf, fresh);
  p = 4;
  EXPECT_EQ(AUFTRAGDBA_NextPOSITION_VomSpeicher(image.data(), 4, &p, buf.data()), 0);
  EXPECT_EQ(p, 4);
  p = 1;
  EXPECT_EQ(AUFTRAGDBA_NextPOSITIONWithOpenFile(h, &p, buf.data()), 1);
  EXPECT_EQ(AUFTRAGDBA_NextPOSITIONWithOpenFile(h, &p, buf.data()), 1);
  EXPECT_EQ(p, 4);
  AUFTRAGDBA_FileClose(h);

  // Rewriting the position and its reference in one go makes them equal.
  auto changed = Block(0x77);
  EXPECT_EQ(AUFTRAGDBA_SchreibePOSITIONPlusReferenzabgleich(3, 2, changed.data()), 1);
  EXPECT_EQ(PosByte(3, 2), 0x77);
  EXPECT_EQ(PosByte(3, 2, true), 0x77);
  auto refOnly = Block(0x78);
  EXPECT_EQ(AUFTRAGDBA_SchreibeReferenzPOSITION(3, 2, refOnly.data()), 1);
  EXPECT_EQ(PosByte(3, 2, true), 0x78);
  EXPECT_EQ(AUFTRAGDBA_SchreibePOSITION(99, 1, refOnly.data()), 0);  // no order file
  EXPECT_FALSE(FileExists(OrderPath(99)));

  // Removing every position keeps the header bytes.
  const auto before = ReadFileBytes(OrderPath(3));
  EXPECT_EQ(AUFTRAGDBA_PositionenLoeschen(3), 1);
  const auto after = ReadFileBytes(OrderPath(3));
  ASSERT_EQ(static_cast<int64_t>(after.size()), B);
  EXPECT_TRUE(std::equal(after.begin() + 998, after.end(), before.begin() + 998));
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION(3), 1);
  EXPECT_FALSE(FileExists(OrderPath(3) + "XX"));
  EXPECT_EQ(AUFTRAGDBA_PositionenLoeschen(4), 0);
}

TEST_F(Orders, NextFreeNumberProbesExistingFilesAndWrapsTo1000) {
  ASSERT_EQ(Nummern_NummernSchreiben(41, 2), 1);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 42);
  MakeOrder(42, 1, 0);
  MakeOrder(43, 1, 0);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 44);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 44);  // not consumed
  EXPECT_EQ(AUFTRAGDBA_NeuerAuftrag(), 44);
  int32_t counter = 0;
  ASSERT_EQ(Nummern_NummernLesen(&counter, 2), 1);
  EXPECT_EQ(counter, 44);

  // Order 100000000 exists: the probe wraps to 1000, past taken numbers.
  ASSERT_EQ(Nummern_NummernSchreiben(99999999, 2), 1);
  MakeOrder(100000000, 1, 0);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 1000);
  MakeOrder(1000, 1, 0);
  MakeOrder(1001, 1, 0);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 1002);
  // Without that file the number is handed out as it is.
  AUFTRAGDBA_LoescheAuftrag(100000000);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 100000000);
  EXPECT_EQ(AUFTRAGDBA_LoescheAuftrag(100000000), 1);
  // The largest number taken: the probe goes on at 1000 as well.
  ASSERT_EQ(Nummern_NummernSchreiben(INT32_MAX - 1, 2), 1);
  MakeOrder(INT32_MAX, 1, 0);
  EXPECT_EQ(AUFTRAGDBA_NextFreeAuftrag(), 1002);
}

TEST_F(Orders, EmptinessFollowsTheOrderKind) {
  // SLR orders count a text at 226, ignore 1046; others the flag at 1049.
  const struct { const char* kind; size_t set; int32_t empty; } cases[] = {
      {"SLR", 1046, 1}, {"SLR", 226, 0}, {"BST", 226, 1}, {"BST", 1049, 0}};
  for (const auto& c : cases) {
    auto header = Block(0);
    std::memcpy(header.data() + 8, c.kind, 3);
    header[c.set] = 'x';
    ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf(1, header.data()), 1);
    EXPECT_EQ(AUFTRAGDBA_AuftragIstNochLeer(1), c.empty) << c.kind << " " << c.set;
  }
  EXPECT_EQ(AUFTRAGDBA_AuftragIstNochLeer(3), 1);
}

struct Collected {
  std::vector<int32_t> numbers;
  int32_t stopAt = 0;
};

int32_t CollectHeader(int32_t n, void* kopf, void* context) {
  auto* c = static_cast<Collected*>(context);
  c->numbers.push_back(n);
  EXPECT_EQ(static_cast<uint8_t*>(kopf)[20], n & 0xFF);
  return n == c->stopAt ? 0 : 1;
}

int32_t CollectNumber(int32_t n, void* context) {
  static_cast<Collected*>(context)->numbers.push_back(n);
  return 1;
}

int32_t OddSupplier(const void* kopf, int32_t supplier) {
  return (static_cast<const uint8_t*>(kopf)[20] % 2) == supplier;
}

int32_t MarkEven(int32_t n, void* kopf, void*) {
  if (n % 2) return 0;
  static_cast<uint8_t*>(kopf)[21] = 0xAB;
  return 1;
}

TEST_F(Orders, WalksVisitEveryOrderFileOfTheDirectory) {
  for (int32_t n : {5, 6, 100000, 7}) MakeOrder(n, static_cast<uint8_t>(n & 0xFF), 1);
  kvtest::WriteFileBytes(orderDir + "AFT00009.DATXX", Block(1, 10));  // not an order file
  kvtest::WriteFileBytes(orderDir + "OTHER.DAT", Block(1, 10));

  Collected all, stopped{{}, 6}, odd, numbers;
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftraegen(CollectHeader, &all), 4);
  EXPECT_EQ(all.numbers, (std::vector<int32_t>{5, 6, 7, 100000}));  // name order
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftraegenProzentAnzeige(CollectHeader, &stopped), 2);
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftraegenVonLieferant(CollectHeader, &odd, OddSupplier, 1), 2);
  EXPECT_EQ(odd.numbers, (std::vector<int32_t>{5, 7}));
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftragsnummern(CollectNumber, &numbers), 4);
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftraegen(nullptr, nullptr), 0);

  EXPECT_EQ(AUFTRAGDBA_AendernMitAllenAuftraegen(MarkEven, nullptr), 2);
  EXPECT_EQ(PosByte(6, kHeader, false, 21), 0xAB);
  EXPECT_EQ(PosByte(7, kHeader, false, 21), 7);

  int32_t count = -1;
  char path[260];
  AUFTRAGDBA_GetAUFTRAGSizeAndName(&count, path);
  EXPECT_EQ(count, 3);  // the first match is not counted
  EXPECT_EQ(std::string(path), orderDir);
  EXPECT_EQ(AUFTRAGDBA_GetAUFTRAGIDFromName("aft00006.dat"), 6);
  EXPECT_EQ(AUFTRAGDBA_GetAUFTRAGIDFromName((orderDir + "AFT00100000.DAT").c_str()), 100000);
  EXPECT_EQ(AUFTRAGDBA_GetAUFTRAGIDFromName("AFT00008.DAT"), 0);

  EXPECT_EQ(AUFTRAGDBA_LoescheAlleAuftraege(), 4);
  AUFTRAGDBA_GetAUFTRAGSizeAndName(&count, nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_TRUE(FileExists(orderDir + "OTHER.DAT"));
}

TEST_F(Orders, ArchiveMirrorsTheOrderDirectoryAndSwitchesBack) {
  EXPECT_EQ(AUFTRAGDBA_Move_To_Archive(1), 0);  // no archive yet
  EXPECT_EQ(AUFTRAGDBA_SwitchArchivePath(), 0);
  EXPECT_EQ(AUFTRAGDBA_PLUS_ARCHIVE_Init(0, (orderDir + "AFT*.DAT").c_str(), ""), 0);
  const std::string root = dir() + "ARCHIV/";
  ASSERT_EQ(AUFTRAGDBA_PLUS_ARCHIVE_Init(0, (orderDir + "AFT*.DAT").c_str(), root.c_str()), 1);
  const std::string archive = dir() + "ARCHIV" + kvtest::WithoutDrive(orderDir);
  MakeOrder(11, 0x11, 2);
  const auto bytes = ReadFileBytes(OrderPath(11));
  EXPECT_NE(AUFTRAGDBA_Move_To_Archive(11), 0);
  EXPECT_FALSE(FileExists(OrderPath(11)));
  EXPECT_EQ(ReadFileBytes(archive + "AFT00011.DAT"), bytes);

  ASSERT_EQ(AUFTRAGDBA_SwitchArchivePath(), 1);
  Collected seen;
  EXPECT_EQ(AUFTRAGDBA_MitAllenAuftragsnummern(CollectNumber, &seen), 1);
  EXPECT_EQ(OrderPath(11), archive + "AFT00011.DAT");
  ASSERT_EQ(AUFTRAGDBA_SwitchArchivePath(), 1);

  EXPECT_NE(AUFTRAGDBA_Move_From_Archive(11), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(11)), bytes);
  // Never over an existing file.
  MakeOrder(12, 0x12, 0);
  kvtest::WriteFileBytes(archive + "AFT00012.DAT", Block(9, 5));
  EXPECT_EQ(AUFTRAGDBA_Move_To_Archive(12), 0);
  EXPECT_EQ(FileSize(archive + "AFT00012.DAT"), 5);
}

// A format-550 order written by hand: header seed 0xA0, position p seed
// 0xA0 + p, reference copy 0xB0 + p, each 3980 bytes.
std::vector<uint8_t> Order550(int32_t positions) {
  std::vector<uint8_t> bytes = Block(0xA0, B550);
  for (int32_t p = 1; p <= positions; ++p) {
    bytes.insert(bytes.end(), B550, static_cast<uint8_t>(0xA0 + p));
    bytes.insert(bytes.end(), B550, static_cast<uint8_t>(0xB0 + p));
  }
  return bytes;
}

TEST_F(Orders, UpgradeCarries550BlocksInto560Blocks) {
  kvtest::WriteFileBytes(OrderPath(21), Order550(2));
  kvtest::WriteFileBytes(OrderPath(22), Order550(0));
  // An interrupted earlier run left only the finished copy of order 23.
  auto finished = Block(0x23, B);
  kvtest::PutI32(finished, 994, 560);
  kvtest::WriteFileBytes(OrderPath(23) + "XX", finished);

  // The 550 functions read it as it is.
  std::vector<uint8_t> small = Block(0, B550);
  ASSERT_EQ(AUFTRAGDBA_LeseAuftragsKopf550(21, small.data()), 1);
  EXPECT_EQ(AUFTRAGDBA_NextFreePOSITION550(21), 3);

  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 550), 0);
  const auto bytes = ReadFileBytes(OrderPath(21));
  ASSERT_EQ(static_cast<int64_t>(bytes.size()), 5 * B);
  for (int64_t b = 0; b < 5; ++b) {
    const uint8_t seed = b == 0 ? 0xA0 : static_cast<uint8_t>((b % 2 ? 0xA0 : 0xB0) + (b + 1) / 2);
    // The old block, then zero padding up to the new size.
    EXPECT_EQ(At(bytes, {b * B + 100, b * B + B550 - 1, b * B + B550, b * B + B - 1}),
              (std::vector<int>{seed, seed, 0, 0})) << b;
  }
  EXPECT_EQ(I32At(bytes, 994), 560);
  EXPECT_TRUE(Recent(static_cast<uint32_t>(I32At(bytes, 2))));
  EXPECT_TRUE(Recent(static_cast<uint32_t>(I32At(bytes, static_cast<size_t>(B) + 206912))));
  EXPECT_EQ(PosByte(21, 2), 0xA2);
  EXPECT_EQ(PosByte(21, 2, true), 0xB2);
  EXPECT_EQ(FileSize(OrderPath(22)), B);
  EXPECT_EQ(ReadFileBytes(OrderPath(23)), finished);
  EXPECT_FALSE(FileExists(OrderPath(21) + "XX"));

  // A second run leaves converted files alone; nothing to do gives 1.
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 550), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(21)), bytes);
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 560), 1);
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(550, 550), 1);
}

TEST_F(Orders, AFailedConversionLeavesTheOldFileWhole) {
  const auto old = Order550(3);
  kvtest::WriteFileBytes(OrderPath(41), old);
  kv::fault::Arm(kv::fault::Kind::Write, 4);  // the fifth block fails
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 550), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(41)), old);
  EXPECT_FALSE(FileExists(OrderPath(41) + "XX"));
  kv::fault::Arm(kv::fault::Kind::Create, 0);
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 550), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(41)), old);
  // The converted file cannot take the old one's place: the old one stays.
  kv::fault::Arm(kv::fault::Kind::Rename, 0);
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 550), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(41)), old);
  EXPECT_FALSE(FileExists(OrderPath(41) + "XX"));
  // The next run converts it.
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 550), 0);
  EXPECT_EQ(FileSize(OrderPath(41)), 7 * B);
}

TEST_F(Orders, OlderThan550IsFirstRewrittenIn550Blocks) {
  auto header = Block(0xC0, B550);
  ASSERT_EQ(AUFTRAGDBA_SchreibeAuftragsKopf550(31, header.data()), 1);
  auto pos = Block(0xC1, B550);
  EXPECT_EQ(AUFTRAGDBA_NeuePOSITION550(31, pos.data()), 1);
  pos[0] = 0xC2;
  EXPECT_EQ(AUFTRAGDBA_SchreibePOSITION550(31, 2, pos.data()), 1);
  auto bytes = ReadFileBytes(OrderPath(31));
  ASSERT_EQ(static_cast<int64_t>(bytes.size()), 4 * B550);
  EXPECT_EQ(I32At(bytes, 994), 550);
  EXPECT_EQ(At(bytes, {B550, 3 * B550}), (std::vector<int>{0xC1, 0xC2}));
  // Pretend an old stamp, then run both steps.
  kvtest::PutI32(bytes, 994, 540);
  kvtest::WriteFileBytes(OrderPath(31), bytes);
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 540), 0);
  bytes = ReadFileBytes(OrderPath(31));
  ASSERT_EQ(static_cast<int64_t>(bytes.size()), 4 * B);  // position 2 has no reference copy
  EXPECT_EQ(I32At(bytes, 994), 560);
  EXPECT_EQ(bytes[static_cast<size_t>(3 * B)], 0xC2);
  // Only the first step: headers stamped 550, blocks unchanged.
  kvtest::WriteFileBytes(OrderPath(32), Order550(1));
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(550, 500), 0);
  bytes = ReadFileBytes(OrderPath(32));
  EXPECT_EQ(static_cast<int64_t>(bytes.size()), 3 * B550);
  EXPECT_EQ(I32At(bytes, 994), 550);
}

TEST_F(Orders, HeaderRewritesLeaveShortAndConvertedFilesAlone) {
  // A cut file: its header cannot be read in full and must not be zeroed.
  const auto cut = Block(0x52, 100);
  kvtest::WriteFileBytes(OrderPath(52), cut);
  EXPECT_EQ(AUFTRAGDBA_AendernMitAllenAuftraegen(MarkEven, nullptr), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(52)), cut);
  EXPECT_EQ(AUFTRAGDBA_AendernMitAllenAuftraegen550(nullptr, nullptr), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(52)), cut);
  ASSERT_TRUE(std::filesystem::remove(OrderPath(52)));

  // A rerun of the whole upgrade after an interrupted one: the orders already
  // converted keep their blocks.
  MakeOrder(53, 0x53, 2);
  const auto converted = ReadFileBytes(OrderPath(53));
  kvtest::WriteFileBytes(OrderPath(54), Order550(1));
  EXPECT_EQ(AUFTRAGDBA_DoUpdate(560, 540), 0);
  EXPECT_EQ(ReadFileBytes(OrderPath(53)), converted);
  EXPECT_EQ(FileSize(OrderPath(54)), 3 * B);
}

}  // namespace
