// Expressions that mean no good, in a run of the tool over a GeoPackage: what is said, and that nothing is lost.
#include "tool_test.h"

#include <csignal>
#include <cstdlib>
#include <ostream>
#include <string>

namespace {

struct Hostile {
    const char* name;
    const char* source;
    const char* labels;   // of the rows "one" and "two" afterwards
    const char* message;  // what standard error holds; null: it stays empty
    bool leavesDaemons = false;
};

std::ostream& operator<<(std::ostream& out, const Hostile& hostile) {
    return out << hostile.name;
}

class HostileExpressions : public ToolTest {
protected:
    void SetUp() override {
        ToolTest::SetUp();
        dataset = newDataset();
        addTable(dataset, "BOYLAT", "NAME TEXT, SYMBOL_C TEXT, LABEL_C TEXT",
                 "(NAME, LABEL_C) VALUES ('one', 'old'), ('two', 'old')");
        addTable(dataset, "LIGHTS", "BUOY TEXT", "(BUOY) VALUES ('one')");
    }
    // A document whose second condition shows that evaluation went on.
    std::string document(const std::string& source) {
        return writeFile("hostile.cxml",
                         "<conditionMap name='m'><featureClass name='BOYLAT'>"
                         "<condition rulename='FIRST' type='2' field='LABEL_C'><expression><![CDATA[" +
                             source +
                             "]]></expression></condition><condition rulename='LIT'><rule type='Q' operator='exists' "
                             "table='LIGHTS'><query>BUOY = '%s'</query><params><param value='NAME'/></params></rule>"
                             "</condition></featureClass></conditionMap>");
    }
    Outcome run(const std::string& source) { return cxml({"symbolize", document(source), dataset, "BOYLAT"}); }
    // What a daemon thread holds when the process ends is nobody's to free: no leak check then.
    Outcome runLeavingDaemons(const std::string& source) {
        const char* options = std::getenv("ASAN_OPTIONS");
        return runProcess({"env", "ASAN_OPTIONS=" + std::string(options ? options : "") + ":detect_leaks=0",
                           CXML_PROGRAM, "symbolize", document(source), dataset, "BOYLAT"});
    }
    std::string labels() const {
        return sql(dataset,
                   "SELECT group_concat(coalesce(LABEL_C, '-'), '|') FROM (SELECT LABEL_C FROM BOYLAT ORDER BY fid)");
    }
    // Whatever the labels became, nothing else did.
    void expectNothingLost() const {
        EXPECT_EQ(sql(dataset, "SELECT group_concat(NAME) FROM BOYLAT"), "one,two");
        EXPECT_EQ(sql(dataset, "SELECT group_concat(BUOY) FROM LIGHTS"), "one");
        EXPECT_EQ(sql(dataset, "SELECT count(*) FROM MARKS"), "2");
        expectIntact(dataset);
    }

    std::string dataset;
};

class RunOfHostileExpression : public HostileExpressions, public testing::WithParamInterface<Hostile> {};

TEST_P(RunOfHostileExpression, GoesOn) {
    const Hostile& hostile = GetParam();
    const Outcome outcome = hostile.leavesDaemons ? runLeavingDaemons(hostile.source) : run(hostile.source);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out.rfind("BOYLAT: 2 rows, 2 changed", 0), 0U) << outcome.out;
    if (hostile.message)
        EXPECT_NE(outcome.err.find(hostile.message), std::string::npos) << outcome.err;
    else
        EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(labels(), hostile.labels);
    EXPECT_EQ(symbols(dataset), "LIT FIRST") << "the condition's symbol stands, and later conditions are tried";
    expectNothingLost();
}

constexpr Hostile hostileExpressions[] = {
    {"raises", "def Generate(NAME): raise ValueError('no ' + NAME)", "old|old",
     "ptype = <class 'ValueError'>\npvalue = no two\nptrace =\nframe0: CalcFields@1\n"},
    {"raisesForOneRow", "def Generate(NAME): return {'two': 'found'}[NAME]", "old|found", "pvalue = 'one'\n"},
    {"exits", "import sys\ndef Generate(): sys.exit('bye')", "old|old", "ptype = <class 'SystemExit'>\npvalue = bye\n"},
    {"exitsWhileItsBodyRuns", "import sys\nsys.exit(0)\ndef Generate(): pass", "old|old",
     "ptype = <class 'SystemExit'>\npvalue = 0\n"},
    {"interrupts", "def Generate(): raise KeyboardInterrupt", "old|old", "ptype = <class 'KeyboardInterrupt'>\n"},
    {"recursesWithoutEnd", "def Generate(): return Generate()", "old|old",
     "ptype = <class 'RecursionError'>\npvalue = maximum recursion depth exceeded"},
    {"recursesInC", "def Generate():\n  x = []\n  for i in range(200000): x = [x]\n  return repr(x)", "old|old",
     "ptype = <class 'RecursionError'>\n"},
    {"raisesWhatCannotBeShown", "class E(Exception):\n  def __str__(self): raise self\ndef Generate(): raise E",
     "old|old", "pvalue = ?\n"},
    {"raisesALoneSurrogate", "def Generate(): raise ValueError(chr(0xd800))", "old|old", "pvalue = ?\n"},
    {"raisesAZero", "def Generate(): raise ValueError('a' + chr(0) + 'b')", "old|old",
     "ptype = <class 'ValueError'>\n"},
    {"asksForTooMuchMemory", "def Generate(): return 'x' * (1 << 62)", "old|old", "ptype = <class 'MemoryError'>\n"},
    {"returnsAZero", "def Generate(NAME): return NAME + chr(0) + 'behind'", "one|two", nullptr},
    {"returnsALoneSurrogate", "def Generate(NAME): return NAME + chr(0xd800)", "old|old", nullptr},
    {"returnsTwoSurrogatesThatAreAPair", "def Generate(NAME): return NAME + chr(0xd83d) + chr(0xde00)",
     "one\xF0\x9F\x98\x80|two\xF0\x9F\x98\x80", nullptr},
    {"returnsSqlAndPercentSigns", "def Generate(NAME): return NAME + \"'; DROP TABLE LIGHTS; -- %s %n\"",
     "one'; DROP TABLE LIGHTS; -- %s %n|two'; DROP TABLE LIGHTS; -- %s %n", nullptr},
    {"replacesTheTableOfModules", "import sys\nsys.modules = {}\ndef Generate(NAME): return NAME", "one|two", nullptr},
    {"emptiesTheTableOfModules", "import sys\nsys.modules.clear()\ndef Generate(NAME): return NAME", "one|old",
     "ptype = <class 'AttributeError'>\npvalue = module 'sys' has no attribute 'modules'\n"},
    {"takesItsModuleOut", "import sys\ndel sys.modules['CalcFields']\ndef Generate(NAME): return NAME", "one|two",
     nullptr},
    {"breaksTheBuiltins", "import builtins\nbuiltins.len = None\ndef Generate(NAME): return NAME", "one|two", nullptr},
    {"closesStandardError", "import sys\nsys.stderr.close()\ndef Generate(NAME):\n  print('x')\n  return NAME",
     "old|old", "ptype = <class 'ValueError'>\npvalue = I/O operation on closed file"},
    {"daemonThreadWithoutEnd",
     "import threading, time\ndef spin():\n  while True: time.sleep(0.001)\n"
     "def Generate(NAME):\n  threading.Thread(target=spin, daemon=True).start()\n  return NAME",
     "one|two", nullptr, true},
    {"daemonThreadThatNeverLetsGo",
     "import threading\ndef spin():\n  while True: pass\n"
     "def Generate(NAME):\n  threading.Thread(target=spin, daemon=True).start()\n  return NAME",
     "one|two", nullptr, true},
    {"threadThatRaises",
     "import threading\ndef fail(): raise ValueError('in a thread')\ndef Generate(NAME):\n"
     "  t = threading.Thread(target=fail)\n  t.start()\n  t.join()\n  return NAME",
     "one|two", "ValueError: in a thread"},
    {"forks", "import os\ndef Generate(NAME):\n  return NAME + str(os.fork() and 1)", "old|old",
     "ptype = <class 'PermissionError'>\npvalue = an expression cannot fork this process; it can start programs\n"},
    {"forksBehindPythonsBack",
     "import ctypes\nc = ctypes.PyDLL(None)\ndef Generate(NAME):\n  c.waitpid(c.fork(), None, 0)\n  return NAME",
     "one|two", nullptr},
    {"startsAProgram",
     "import subprocess\ndef Generate(NAME): return subprocess.check_output(['echo', NAME], text=True).strip()",
     "one|two", nullptr},
    {"failsWhenPythonEnds", "import atexit\ndef Generate(NAME):\n  atexit.register(lambda: 1 / 0)\n  return NAME",
     "one|two", "ZeroDivisionError"},
};

INSTANTIATE_TEST_SUITE_P(All, RunOfHostileExpression, testing::ValuesIn(hostileExpressions),
                         [](const testing::TestParamInfo<Hostile>& entry) { return entry.param.name; });

TEST_F(HostileExpressions, HugeTextIsCutAndNeverInAPair) {
    EXPECT_EQ(run("def Generate(): return 'x' * 10485760").status, 0);
    EXPECT_EQ(sql(dataset, "SELECT DISTINCT length(LABEL_C) FROM BOYLAT"), "2047");
    // 2,046 units and a pair: half of it would be the last one.
    EXPECT_EQ(run("def Generate(): return 'x' * 2046 + chr(0x1f600) * 10485760").status, 0);
    EXPECT_EQ(sql(dataset, "SELECT DISTINCT length(LABEL_C) || substr(LABEL_C, -1) FROM BOYLAT"), "2046x");
    EXPECT_EQ(run("def Generate(): return 'x' * 2045 + chr(0x1f600) * 2").status, 0);
    EXPECT_EQ(sql(dataset, "SELECT DISTINCT length(LABEL_C) || unicode(substr(LABEL_C, -1)) FROM BOYLAT"),
              "2046128512");
    expectNothingLost();
}

TEST_F(HostileExpressions, HugeReportIsTold) {
    const Outcome outcome = run("def Generate(): raise ValueError('x' * 10485760)");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_GT(outcome.err.size(), 10485760U);
    EXPECT_EQ(labels(), "old|old");
    expectNothingLost();
}

TEST_F(HostileExpressions, ThreadThatStillRunsIsWaitedFor) {
    const std::string proof = inFolder("proof").string();
    const Outcome outcome =
        run("import threading, time\ndef late():\n  time.sleep(1)\n  open('" + proof +
            "', 'a').write('x')\ndef Generate(NAME):\n  threading.Thread(target=late).start()\n  return NAME");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "BOYLAT: 2 rows, 2 changed; 1 rule, 1 default\n");
    EXPECT_EQ(readFile(proof), "xx") << "both ended before the tool did";
    EXPECT_EQ(labels(), "one|two");
    expectNothingLost();
}

struct End {
    const char* statement;
    int status;
    const char* line;  // on standard error
};

TEST_F(HostileExpressions, ProcessThatIsEndedLeavesNothingOfTheLayerAndIsNoSuccess) {
    constexpr const char* byItself = "cxml: the run was ended in its middle, with status ";
    const End ends[] = {{"os._exit(0)", 1, byItself},
                        {"os._exit(7)", 7, byItself},
                        {"ctypes.PyDLL(None).exit(0)", 1, byItself},
                        {"ctypes.PyDLL('libc.so.6')._exit(0)", 1, byItself},
                        {"os.abort()", 128 + SIGABRT, "cxml: the run was ended by a signal: Aborted\n"},
                        {"os.kill(os.getpid(), 9)", 128 + SIGKILL, "cxml: the run was ended by a signal: Killed\n"}};
    for (const End& end : ends) {
        SCOPED_TRACE(end.statement);
        const std::string before = readFile(dataset);
        const Outcome outcome =
            run("import os, ctypes\ndef Generate(NAME):\n  if NAME == 'two': " + std::string(end.statement) +
                "\n  return NAME");
        EXPECT_EQ(outcome.status, end.status);
        EXPECT_EQ(outcome.signalled, end.status > 128);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find(end.line), std::string::npos) << outcome.err;
        EXPECT_EQ(labels(), "old|old");
        EXPECT_TRUE(readFile(dataset) == before);
    }
    EXPECT_EQ(run("def Generate(NAME): return NAME").out, "BOYLAT: 2 rows, 2 changed; 1 rule, 1 default\n");
    expectNothingLost();
}

TEST_F(HostileExpressions, CrashIsNoSuccess) {
    const Outcome outcome = run("import ctypes\ndef Generate(): return ctypes.string_at(0)");
    EXPECT_NE(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("cxml: the run was ended "), std::string::npos) << "a sanitizer ends it with a status";
    EXPECT_EQ(labels(), "old|old");
    EXPECT_EQ(run("def Generate(NAME): return NAME").out, "BOYLAT: 2 rows, 2 changed; 1 rule, 1 default\n");
    expectNothingLost();
}

TEST_F(HostileExpressions, WorkEndsWithTheProcessThatWasStarted) {
    const std::string source =
        document("import sys, time\ndef Generate():\n  print('here', file=sys.stderr, flush=True)\n  time.sleep(600)");
    ProcessOptions options;
    options.onErrorText = [](pid_t pid, const std::string& text) {
        if (text.find("here") != std::string::npos) kill(pid, SIGKILL);
    };
    options.limit = std::chrono::seconds(100);
    const Outcome outcome = runProcess({CXML_PROGRAM, "symbolize", source, dataset, "BOYLAT"}, options);
    EXPECT_FALSE(outcome.timedOut) << "somebody still holds standard output";
    EXPECT_EQ(outcome.status, 128 + SIGKILL);
    EXPECT_EQ(labels(), "old|old");
    EXPECT_EQ(run("def Generate(NAME): return NAME").out, "BOYLAT: 2 rows, 2 changed; 1 rule, 1 default\n");
    expectNothingLost();
}

TEST_F(HostileExpressions, InterruptOfBothProcessesIsOne) {
    // As a terminal sends it.
    const std::string source = document(
        "import os, sys, time\ndef Generate():\n  print('worker', os.getpid(), '', file=sys.stderr, flush=True)\n"
        "  time.sleep(2)");
    bool sent = false;
    ProcessOptions options;
    options.onErrorText = [&](pid_t pid, const std::string& text) {
        const std::size_t at = text.find("worker ");
        if (sent || at == std::string::npos || text.back() != '\n') return;
        sent = true;
        kill(std::stoi(text.substr(at + 7)), SIGINT);
        kill(pid, SIGINT);
    };
    const Outcome outcome = runProcess({CXML_PROGRAM, "symbolize", source, dataset, "BOYLAT"}, options);
    EXPECT_TRUE(sent);
    EXPECT_EQ(outcome.status, 130) << outcome.err;
    EXPECT_FALSE(outcome.signalled) << "it ended in order";
    EXPECT_EQ(labels(), "old|old");
    expectNothingLost();
}

// What another program does to the dataset in the middle of a run, here by way of an expression.
std::string askingShell(const std::string& dataset, const std::string& statement) {
    return "import subprocess\ndef Generate(NAME):\n  done = subprocess.run(['sqlite3', '" + dataset + "', \"" +
           statement +
           "\"], capture_output=True, text=True)\n  return str(done.returncode) + ('locked' if 'locked' in done.stderr "
           "else "
           "done.stderr) + done.stdout";
}

TEST_F(HostileExpressions, QueriedTableCannotBeDroppedByAnotherProgramInMidRun) {
    EXPECT_EQ(run(askingShell(dataset, "DROP TABLE LIGHTS")).status, 0);
    EXPECT_EQ(labels(), "5locked|5locked");
    EXPECT_EQ(symbols(dataset), "LIT FIRST");
    expectNothingLost();
}

TEST_F(HostileExpressions, RunIsNotSeenByOthersBeforeItsEnd) {
    EXPECT_EQ(run(askingShell(dataset, "SELECT DISTINCT LABEL_C FROM BOYLAT")).status, 0);
    EXPECT_EQ(labels(), "0old\n|0old");
    expectNothingLost();
}

TEST_F(HostileExpressions, SecondRunOfTheSameDatasetIsRefused) {
    const std::string source =
        "import subprocess\ndef Generate(NAME):\n  done = subprocess.run(['" CXML_PROGRAM "', 'reset', '" +
        inFolder("hostile.cxml").string() + "', '" + dataset +
        "', 'BOYLAT'], capture_output=True, text=True)\n  return str(done.returncode) + done.stderr.split(': ', 1)[1]";
    EXPECT_EQ(run(source).status, 0);
    EXPECT_EQ(labels().substr(0, labels().find('|')), "2" + dataset + ": cannot be written: database is locked\n");
    expectNothingLost();
}

}  // namespace
