// kvdata item DIR ID: one single item of TEILE.DBA with its flags spelled out.
#include <cerrno>
#include <iostream>
#include <memory>
#include <string>

#include "item_print.h"
#include "kvdata/database.h"
#include "admin_util.h"
#include "tool.h"

namespace {

struct Options {
  std::string dir;
  int32_t id = 0;
};

void Setup(CLI::App& app) {
  auto opt = std::make_shared<Options>();
  kvtool::AddDirOption(app, opt->dir, "data directory holding TEILE.DBA");
  app.add_option("id", opt->id, "item identifier")->required()->check(CLI::NonNegativeNumber);
  app.callback([opt] {
    const std::string dir = kvtool::OpenDataDirectory("item", opt->dir);
    int32_t size = kvtool::ItemFileSize(dir);
    if (size == 0 || DATABASE_Init(size, dir.c_str()) != 1) {
      kvtool::Fail("item", "no single-item file", dir + DATABASE_FILE_NAME, ENOENT);
    }
    Einzelteil r;
    if (DATABASE_LeseEinzelteil(opt->id, &r) != 1) {
      kvtool::Fail("item", "item " + std::to_string(opt->id) + " cannot be read (the file holds 0 .. " +
                               std::to_string(size) + ")",
                   dir + DATABASE_FILE_NAME, 0, kvtool::kExitDefects);
    }
    kvtool::PrintItem(std::cout, opt->id, r);
  });
}

kvtool::CommandRegistrar registrar("item", "print one single item of TEILE.DBA with its flags spelled out", Setup);

}  // namespace
