// kvdata orders DIR: the orders of an order directory with their positions.
#include <cstdio>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "kvdata/auftragdba.h"
#include "admin_util.h"
#include "tool.h"

namespace kvtool {

namespace {

int32_t CollectNumber(int32_t number, void* context) {
  static_cast<std::vector<int32_t>*>(context)->push_back(number);
  return 1;
}

void ListOrders(std::string dir) {
  dir = OpenDataDirectory("orders", dir);
  AUFTRAGDBA_Init(0, dir.c_str());
  std::vector<int32_t> numbers;
  AUFTRAGDBA_MitAllenAuftragsnummern(CollectNumber, &numbers);
  std::vector<unsigned char> position(AUFTRAGDBA_BLOCK);
  std::printf("%-12s %-20s %10s %10s\n", "order", "file", "positions", "deleted");
  for (int32_t n : numbers) {
    char name[260];
    AUFTRAGDBA_CreateFileName(n, name, 0);
    const int32_t slots = AUFTRAGDBA_NextFreePOSITION(n) - 1;
    int32_t existing = 0;
    for (int32_t p = 0; AUFTRAGDBA_NextPOSITION(n, &p, position.data());) ++existing;
    std::printf("%-12d %-20s %10d %10d\n", n, name, existing, slots - existing);
  }
  std::printf("%zu order(s) in %s\n", numbers.size(), dir.c_str());
}

const CommandRegistrar kOrders("orders", "list the orders of an order directory with their number of positions",
                               [](CLI::App& app) {
                                 auto dir = std::make_shared<std::string>();
                                 app.add_option("dir", *dir, "order directory (holds AFT*.DAT)")->required();
                                 app.callback([dir] { ListOrders(*dir); });
                               });

}  // namespace

}  // namespace kvtool
