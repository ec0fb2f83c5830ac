// Whole runs on an archive in memory: a program makes the files and adds arguments.

#include <string>
#include <vector>

#include "MemoryFiles.h"
#include "app/VexApp.h"
#include "prod/ProductKind.h"
#include "sample/MessageProgram.h"

namespace {

/// What arguments are made of; the value of an order stands for %.
constexpr const char* ARGUMENTS[][2] = {
    {"-of", "txt"},
    {"-of", "txtstat"},
    {"-of", "bin"},
    {"-c", "1-4,3339-3342"},
    {"-c", "8461"},
    {"-c", "1990-2060"},
    {"-avhrr", "1"},
    {"-t2", "ozo,trg"},
    {"-t2", "clp"},
    {"-t2", "twt"},
    {"-t2", "ems"},
    {"-tb", "1"},
    {"-tbref", "280"},
    {"-tbref", "0.001"},
    {"-bi", "1"},
    {"-box", "-90-90,-180-180,all"},
    {"-box", "0-90,-180-0,west"},
    {"-skip", "1"},
    {"-maxres", "3"},
    {"-mila", "-30"},
    {"-malo", "10"},
    {"-on", "0-20000"},
    {"-sln", "1-2,4-700"},
    {"-fov", "0-60"},
    {"-va", "-10-60"},
    {"-tr", "00h00m00s-12h00m00s"},
    {"-tp", "day"},
    {"-st", "land"},
    {"-alt", "/a/grid"},
    {"-qlt", "yny"},
    {"-mca", "50"},
    {"-lca", "1"},
    {"-sf", "0-50"},
    {"-lf", "0-50"},
    {"-avg", "0-1"},
    {"-var", "0-1"},
    {"-sk", "1"},
    {"-stsext", "1"},
    {"-boxstat", "4-3"},
    {"-histlat", "-90-90,9"},
    {"-histpix", "0.0001-0.001,10"},
    {"-histcloud", "0-100,10"},
    {"-histland", "0-100,3"},
    {"-histsnow", "0-100,3"},
    {"-histavg", "0-0.002,5"},
    {"-histvar", "0-0.001,5"},
    {"-myd2", "/a/indep"},
    {"-mf", "1"},
};

/// The archive and the arguments, filled order by order.
class CRun {
 public:
  CRun() {
    m_files.File("/a/grid");
    m_arTexts = {"vex",  "-d",  "/a/L1C",     "-d2", "/a/L2",     "-out",
                 "/out", "-fd", "2013-04-19", "-ld", "2013-04-21"};
  }

  void Do(const SOrder& order) {
    if (order.eOrder == EOrder::ARGUMENT) {
      const auto& [szName, szValue] = ARGUMENTS[order.nPlace % std::size(ARGUMENTS)];
      m_arTexts.insert(m_arTexts.end(), {szName, szValue});
      if (order.nValue != 0) m_files.File("/a/grid").append(reinterpret_cast<const char*>(&order.nValue), 4);
    } else if (order.eOrder == EOrder::NEW_FILE) {
      EndFile();
      m_nProduct = order.nArgument % PRODUCTS;
      m_bIndependent = (order.nArgument & 0xC0) == 0xC0;
      m_file = CFileProgram(arKinds[m_nProduct]);
    } else {
      m_file.Do(order);
    }
  }

  void End() {
    EndFile();
    CVexApp().Main(static_cast<int>(m_arTexts.size()), Arguments(m_arTexts).data());
  }

 private:
  void EndFile() {
    const std::string szKind =
        m_nProduct == PRODUCT_L1C ? "" : PRODUCT_KINDS[m_nProduct].szName + std::string("/");
    const std::string szFolder = m_nProduct == PRODUCT_L1C ? "/a/L1C/2013/04/20/"
                                 : m_bIndependent          ? "/a/indep/"
                                                           : "/a/L2/2013/04/20/";
    const std::string& szBytes = m_file.End();
    if (!szBytes.empty())
      m_files.File(szFolder + szKind + std::to_string(m_nFile++) +
                   (szKind.empty() ? ".l1_bufr" : ".l2_bufr")) = szBytes;
  }

  CMemoryFiles& m_files = EmptyFiles();
  std::vector<std::string> m_arTexts;
  CFileProgram m_file{EKind::L1C};
  int m_nProduct = 0, m_nFile = 0;
  bool m_bIndependent = false;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pBytes, size_t nBytes) {
  CRun run;
  CProgram program(pBytes, nBytes);
  for (SOrder order; program.Next(order);) run.Do(order);
  run.End();
  return 0;
}

extern "C" size_t LLVMFuzzerMutate(uint8_t* pBytes, size_t nBytes, size_t nMax) __attribute__((weak));

/// Steps on orders, and now and then on bytes.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* pBytes, size_t nBytes, size_t nMax, unsigned nSeed) {
  if (LLVMFuzzerMutate && nSeed % 4 == 0) return LLVMFuzzerMutate(pBytes, nBytes, nMax);
  return MutateProgram(pBytes, nBytes, nMax, 0, nSeed);
}
