// Cost of raising an alarm (its twelve writes and the change pass that
// follows) beside twelve raw SQLite upserts on the same file, and of the
// raise alone (one batch) beside the twelve upserts in one transaction; a card's JSON
// written and read back beside raw RapidJSON on the same text; the time
// from a raise in one process to its card written by another; and the time
// a fresh process takes to start the alarm manager and the card notifier.
#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "alerts/AlertManager.h"
#include "bench/BenchResults.h"
#include "alerts/AlertUINotifier.h"
#include "platform/ConfigManager.h"
#include "platform/vmCfg.h"

namespace {

using benchresults::NanosPerCall;
using benchresults::NowNanos;

std::string g_db_path;

// One raise of the benchmark's alarm, its severity alternating so that every
// pass has a changed field to report.
void RaiseOnce(benchmark::State& state, int i) {
  const int rc =
      AlertManager_SetAlert("BenchLink", "bench", 2 + (i & 1), "Link [AI1] down", "eth0", nullptr, "network", 0, 0, 0);
  if (rc != 0) state.SkipWithError("AlertManager_SetAlert failed");
}

// One raise and the delivery of its changes to this process's tables.
void BM_AlertManagerSetAlert(benchmark::State& state) {
  ConfigManager* changes = ConfigManager::Instance();
  int i = 0;
  for (auto _ : state) {
    RaiseOnce(state, i++);
    changes->dispatchPending();
  }
}

// A raise alone: the slot search and the twelve writes, one batch. Its
// changes are delivered outside the timing now and then, as a process that
// watches the tables would.
void BM_AlertManagerSetAlertOnly(benchmark::State& state) {
  ConfigManager* changes = ConfigManager::Instance();
  int i = 0;
  for (auto _ : state) {
    RaiseOnce(state, i++);
    if ((i & 63) == 0) {
      state.PauseTiming();
      changes->dispatchPending();
      state.ResumeTiming();
    }
  }
}

// The baselines: the same twelve parameters written by raw SQLite on the
// same file with the store's settings, one auto-committed upsert each, or
// all twelve in one transaction (what a batched raise is). The third is the
// statements a raise is made of, in raw SQLite: in one transaction the slot
// search's two reads, the twelve upserts and the journal row that announces
// them, with the store's page cache; what a raise costs beyond it is the
// library's own.
enum class RawForm { kAutoCommit, kOneTransaction, kRaiseStatements };

void RawSqlite12Upserts(benchmark::State& state, RawForm form) {
  sqlite3* db = nullptr;
  sqlite3_open(g_db_path.c_str(), &db);
  sqlite3_busy_timeout(db, 5000);
  sqlite3_exec(db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", nullptr, nullptr, nullptr);
  if (form == RawForm::kRaiseStatements) sqlite3_exec(db, "PRAGMA cache_size=-256", nullptr, nullptr, nullptr);
  sqlite3_stmt* stmt = nullptr;
  sqlite3_prepare_v2(db,
                     "INSERT INTO params(path, value) VALUES(?1, ?2) "
                     "ON CONFLICT(path) DO UPDATE SET value = excluded.value",
                     -1, &stmt, nullptr);
  sqlite3_stmt* begin = nullptr;
  sqlite3_stmt* commit = nullptr;
  sqlite3_stmt* read = nullptr;
  sqlite3_stmt* journal = nullptr;
  sqlite3_prepare_v2(db, "BEGIN IMMEDIATE", -1, &begin, nullptr);
  sqlite3_prepare_v2(db, "COMMIT", -1, &commit, nullptr);
  sqlite3_prepare_v2(db, "SELECT value FROM params WHERE path = ?1", -1, &read, nullptr);
  sqlite3_prepare_v2(db, "INSERT INTO changes(path) VALUES(?1)", -1, &journal, nullptr);
  static const char* const kKeys[] = {"name",        "severity", "time",          "additionalInfo1",
                                      "additionalInfo2", "category", "description", "type",
                                      "probable_cause",  "confirmation_received", "ui_notification",
                                      "source_component"};
  std::vector<std::string> paths;
  std::string journalText;
  for (const char* key : kKeys) {
    paths.push_back(std::string("bench/raw/alarm/0/") + key);
    journalText += paths.back() + '\0';
  }
  int i = 0;
  for (auto _ : state) {
    const std::string value = std::to_string(2 + (i++ & 1));
    if (form != RawForm::kAutoCommit) {
      sqlite3_step(begin);
      sqlite3_reset(begin);
    }
    if (form == RawForm::kRaiseStatements) {
      for (const std::string* path : {&paths.front(), &paths.back()}) {
        sqlite3_bind_text(read, 1, path->c_str(), -1, SQLITE_STATIC);
        benchmark::DoNotOptimize(sqlite3_step(read));
        sqlite3_reset(read);
      }
    }
    for (const std::string& path : paths) {
      sqlite3_bind_text(stmt, 1, path.c_str(), -1, SQLITE_STATIC);
      sqlite3_bind_text(stmt, 2, value.c_str(), -1, SQLITE_TRANSIENT);
      benchmark::DoNotOptimize(sqlite3_step(stmt));
      sqlite3_reset(stmt);
    }
    if (form == RawForm::kRaiseStatements) {
      sqlite3_bind_text(journal, 1, journalText.data(), static_cast<int>(journalText.size()), SQLITE_STATIC);
      benchmark::DoNotOptimize(sqlite3_step(journal));
      sqlite3_reset(journal);
    }
    if (form != RawForm::kAutoCommit) {
      sqlite3_step(commit);
      sqlite3_reset(commit);
    }
  }
  for (sqlite3_stmt* statement : {begin, commit, read, journal, stmt}) sqlite3_finalize(statement);
  sqlite3_close(db);
}

void BM_RawSqlite12Upserts(benchmark::State& state) { RawSqlite12Upserts(state, RawForm::kAutoCommit); }
void BM_RawSqlite12UpsertsOneTransaction(benchmark::State& state) {
  RawSqlite12Upserts(state, RawForm::kOneTransaction);
}
void BM_RawSqliteRaiseStatements(benchmark::State& state) { RawSqlite12Upserts(state, RawForm::kRaiseStatements); }

// The card the notifier makes for a raised alarm.
SystemAlert CardRecord() {
  SystemAlert record;
  record.m_name = "BenchLink";
  record.m_sourceComponent = "bench";
  record.m_severity = 2;
  record.m_description = "Link eth0 down";
  return record;
}

// The card of an alarm serialised, then parsed into a fresh card: the JSON
// a raise and its display cost. Making the cards (each reads this process's
// name and the device string, see uHeroCard::BuildOriginator) is left out
// of the timing; BM_CardBuildWriteRead below includes it. The text is read
// back into one card made before the loop (the reader replaces its list items
// and every value the text holds): pausing the timer for a fresh card each
// time would cost about as much as the parse itself.
void BM_CardJsonWriteRead(benchmark::State& state) {
  AlertUINotifier* notifier = AlertUINotifier::GetInstance();
  SystemAlert record = CardRecord();
  uHeroCard source("");
  if (notifier->DeSerializerCard(notifier->BuildCardFromAlarm("Alarm Notification", &record), source) != 0) {
    state.SkipWithError("card did not parse");
    return;
  }
  size_t length = 0;
  uHeroCard card("");
  for (auto _ : state) {
    const std::string text = notifier->SerializeCard(source);
    if (notifier->DeSerializerCard(text, card) != 0) state.SkipWithError("card did not parse");
    length = text.size();
  }
  state.counters["bytes"] = static_cast<double>(length);
}

// The whole path: the card built for an alarm (with its originator),
// serialised and parsed into a newly made card.
void BM_CardBuildWriteRead(benchmark::State& state) {
  AlertUINotifier* notifier = AlertUINotifier::GetInstance();
  SystemAlert record = CardRecord();
  for (auto _ : state) {
    const std::string text = notifier->BuildCardFromAlarm("Alarm Notification", &record);
    uHeroCard card("");
    if (notifier->DeSerializerCard(text, card) != 0) state.SkipWithError("card did not parse");
  }
}

// The baseline: the same card text written from a RapidJSON DOM by its
// Writer and parsed back into a Document.
void BM_RawRapidJsonCard(benchmark::State& state) {
  SystemAlert record = CardRecord();
  const std::string text = AlertUINotifier::GetInstance()->BuildCardFromAlarm("Alarm Notification", &record);
  rapidjson::Document source;
  source.Parse(text.c_str(), text.size());
  if (source.HasParseError()) {
    state.SkipWithError("card text does not parse");
    return;
  }
  size_t length = 0;
  for (auto _ : state) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    source.Accept(writer);
    rapidjson::Document parsed;
    parsed.Parse(buffer.GetString(), buffer.GetSize());
    if (parsed.HasParseError()) state.SkipWithError("written text does not parse");
    length = buffer.GetSize();
  }
  if (length != text.size()) state.SkipWithError("the baseline wrote a different text");
  state.counters["bytes"] = static_cast<double>(length);
}

BENCHMARK(BM_AlertManagerSetAlert);
BENCHMARK(BM_RawSqlite12Upserts);
BENCHMARK(BM_AlertManagerSetAlertOnly);
BENCHMARK(BM_RawSqlite12UpsertsOneTransaction);
BENCHMARK(BM_RawSqliteRaiseStatements);
BENCHMARK(BM_CardJsonWriteRead);
BENCHMARK(BM_CardBuildWriteRead);
BENCHMARK(BM_RawRapidJsonCard);

// In the card process, called when "command/card" changes: the card's text
// is the raiser's clock at the raise (steady_clock is system-wide).
int ReportCardLatency(char** /*paths*/, int /*count*/) {
  char card[2048];
  if (vmCfgGetParam("command/card", card, sizeof card) != VM_CFG_OK) return 0;
  const char* text = std::strstr(card, "\"text\":\"");
  if (text == nullptr) return 0;
  benchresults::ReportingChild::Report(NowNanos() - std::atoll(text + 8));
  return 0;
}

// Raises an alarm whose card text is the current clock and waits for the
// card process to report its card. Microseconds, or -1.
double RaiseAndAwaitCard(const benchresults::ReportingChild& shower) {
  const std::string now = std::to_string(NowNanos());
  if (AlertManager_SetAlert("BenchCard", "bench", 2, "[AI1]", now.c_str(), nullptr, nullptr, 0, 0, 2) != 0) return -1;
  return shower.NextMicros(5000);
}

// Each sample is a fresh process (the manager and the notifier are
// singletons): the time to construct the manager, which loads the alarm
// and event tables, and to initialise the notifier, which registers and
// shows the cards of standing alarms.
void MeasureStartup(int samples) {
  std::vector<double> micros;
  for (int i = 0; i < samples; ++i) {
    int fds[2];
    if (pipe(fds) != 0) return;
    const pid_t child = fork();
    if (child == 0) {
      close(fds[0]);
      const int64_t start = NowNanos();
      AlertManager::GetInstance();
      AlertUINotifier::GetInstance()->Init();
      const int64_t elapsed = NowNanos() - start;
      _exit(write(fds[1], &elapsed, sizeof elapsed) == static_cast<ssize_t>(sizeof elapsed) ? 0 : 1);
    }
    close(fds[1]);
    int64_t elapsed = 0;
    const bool got = read(fds[0], &elapsed, sizeof elapsed) == static_cast<ssize_t>(sizeof elapsed);
    close(fds[0]);
    waitpid(child, nullptr, 0);
    if (got) micros.push_back(static_cast<double>(elapsed) / 1000.0);
  }
  benchresults::EmitSamples("alerts_startup", micros);
}

void MeasureRaiseToCard(int samples) {
  const benchresults::ReportingChild shower([] {
    AlertUINotifier::GetInstance()->Init();
    ConfigManager::Instance()->registerMultiConfigPathsChangeCallback({"command/card"}, ReportCardLatency);
    ConfigManager::Instance()->startDeliveryThread();
  });
  if (!shower.ok()) return;
  RaiseAndAwaitCard(shower);  // builds this process's tables first
  std::vector<double> micros;
  for (int i = 0; i < samples; ++i) {
    const double latency = RaiseAndAwaitCard(shower);
    if (latency < 0) {
      std::printf("raise -> card: sample %d lost\n", i);
      break;
    }
    micros.push_back(latency);
    usleep(2000);
  }
  benchresults::EmitSamples("alarm_raise_to_card", micros);
}

}  // namespace

int main(int argc, char** argv) {
  benchresults::ScratchDatabase database;
  if (!database.ok()) return 1;
  g_db_path = database.path();

  // First, while this process has no change watch yet: a forked child
  // would share it and the two would take each other's wake-ups.
  MeasureStartup(30);
  MeasureRaiseToCard(200);
  benchresults::RunBenchmarks(&argc, argv);
  const double ours = NanosPerCall()["BM_AlertManagerSetAlert"];
  const double raw = NanosPerCall()["BM_RawSqlite12Upserts"];
  if (ours > 0 && raw > 0) {
    std::printf("AlertManager_SetAlert + change pass: %.0f ns, 12 raw SQLite upserts: %.0f ns, ratio %.2f\n", ours,
                raw, ours / raw);
  }
  const double alone = NanosPerCall()["BM_AlertManagerSetAlertOnly"];
  const double raw_one = NanosPerCall()["BM_RawSqlite12UpsertsOneTransaction"];
  if (alone > 0 && raw_one > 0) {
    std::printf("AlertManager_SetAlert: %.0f ns, 12 raw SQLite upserts in one transaction: %.0f ns, ratio %.2f\n",
                alone, raw_one, alone / raw_one);
  }
  const double card = NanosPerCall()["BM_CardJsonWriteRead"];
  const double raw_card = NanosPerCall()["BM_RawRapidJsonCard"];
  if (card > 0 && raw_card > 0) {
    std::printf("card JSON write + read: %.0f ns, raw RapidJSON Writer + Document: %.0f ns, ratio %.2f\n", card,
                raw_card, card / raw_card);
  }
  return 0;
}
