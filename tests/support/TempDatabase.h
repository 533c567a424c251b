// Gives a test its own configuration database in a fresh temporary folder.
//
// Tests run in a process each, so pointing VM_CFG_DB at the folder before the
// first configuration call is enough; the folder is removed afterwards.
#ifndef DEVMGMT_TESTS_SUPPORT_TEMPDATABASE_H_
#define DEVMGMT_TESTS_SUPPORT_TEMPDATABASE_H_

#include <string>

class TempDatabase {
 public:
  TempDatabase();
  ~TempDatabase();
  TempDatabase(const TempDatabase&) = delete;
  TempDatabase& operator=(const TempDatabase&) = delete;

  const std::string& directory() const { return m_directory; }
  const std::string& path() const { return m_path; }

 private:
  std::string m_directory;
  std::string m_path;
};

// A database made as the store makes it, holding `rows` parameters
// "p/NNNN" = SampleValue(N), closed (so everything is in the main file).
bool MakeSampleDatabase(const std::string& path, int rows);
std::string SampleValue(int i);
// Overwrites 2 KiB of the middle page of a database file with 0xFF.
bool DamageMiddlePage(const std::string& path);

#endif  // DEVMGMT_TESTS_SUPPORT_TEMPDATABASE_H_
