// kvdata item DIR ID: one single item of TEILE.DBA with its flags spelled out.
#include <iostream>
#include <memory>
#include <string>

#include "item_print.h"
#include "kvdata/database.h"
#include "tool.h"

namespace {

struct Options {
  std::string dir;
  int32_t id = 0;
};

void Setup(CLI::App& app) {
  auto opt = std::make_shared<Options>();
  app.add_option("dir", opt->dir, "data directory holding TEILE.DBA")->required();
  app.add_option("id", opt->id, "item identifier")->required()->check(CLI::NonNegativeNumber);
  app.callback([opt] {
    int32_t size = kvtool::ItemFileSize(opt->dir);
    if (size == 0 || DATABASE_Init(size, opt->dir.c_str()) != 1) {
      std::cerr << "no single-item file " DATABASE_FILE_NAME " in " << opt->dir << "\n";
      throw CLI::RuntimeError(1);
    }
    Einzelteil r;
    if (DATABASE_LeseEinzelteil(opt->id, &r) != 1) {
      std::cerr << "item " << opt->id << " cannot be read (the file holds 0 .. " << size << ")\n";
      throw CLI::RuntimeError(1);
    }
    kvtool::PrintItem(std::cout, opt->id, r);
  });
}

kvtool::CommandRegistrar registrar("item", "print one single item of TEILE.DBA with its flags spelled out", Setup);

}  // namespace
