// Own EAN codes printed at two stations at once: no code comes out twice,
// and both counters end where one station alone would have left them.
#include <fstream>
#include <set>

#include "kvdata/eandata.h"
#include "kvdata/nummern.h"
#include "kvtest.h"
#include "services/platform.h"

namespace {

constexpr int kPerStation = 40;

// args: data directory, output file.
KVTEST_WORKER(print_own_codes) {
  Nummern_Init((args.at(0) + "NUMMERN.DAT").c_str());
  EANDATA_Init((args.at(0) + "EANDATA.DAT").c_str());
  std::ofstream out(args.at(1));
  if (!kvtest::AwaitFile(args.at(0) + "go")) return 2;
  for (int i = 0; i < kPerStation; ++i) {
    char code[14] = "##";
    if (EANDATA_ErzeugeEigeneEAN(code) != 1) return 3;
    out << code << "\n";
  }
  return 0;
}

class OwnEanProcessTest : public kvtest::DataDirTest {};

TEST_F(OwnEanProcessTest, TwoStationsNeverPrintOneCode) {
  std::vector<uint8_t> counters(800, 0);
  kvtest::PutI32(counters, 4 * 11, 99990);  // the article part rolls over on the way
  kvtest::PutI32(counters, 4 * 12, 2000005);
  kvtest::WriteFileBytes(file("NUMMERN.DAT"), counters);
  std::vector<kvtest::Worker> workers;
  for (int w = 0; w < 2; ++w)
    workers.push_back(kvtest::SpawnWorker("print_own_codes", {dir(), file("c" + std::to_string(w))}));
  kvtest::WriteFileBytes(file("go"), {1});
  for (auto& w : workers) ASSERT_EQ(kvtest::WaitWorker(w), 0);
  std::set<std::string> all;
  for (int w = 0; w < 2; ++w) {
    std::ifstream in(file("c" + std::to_string(w)));
    for (std::string c; in >> c;) EXPECT_TRUE(all.insert(c).second) << c << " printed twice";
  }
  EXPECT_EQ(all.size(), 2u * kPerStation);
  // 99990..99999 (10 codes), then 70 codes from article part 1 of the next
  // supplier part.
  auto after = kvtest::ReadFileBytes(file("NUMMERN.DAT"));
  EXPECT_EQ(kvtest::I32At(after, 4 * 11), 71);
  EXPECT_EQ(kvtest::I32At(after, 4 * 12), 2000006);
}

}  // namespace
