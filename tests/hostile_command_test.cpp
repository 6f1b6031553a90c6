// The prooftally command on files that are not what a project should hold:
// it ends by itself, soon, with its report and status 0.
#include "test_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

extern char** environ;

namespace {

struct run_t {
    int status = -1; // -1: killed after the time limit
    std::string out;
    std::string err;
    long maxRssMb = 0;
    double seconds = 0;
};

std::string slurp(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// Runs prooftally with `args`, its output into files of `dir`; kills it after
// `limit` seconds.
run_t prooftally(std::vector<std::string> args, ScratchDir const& dir, int limit = 30) {
    args.insert(args.begin(), PROOFTALLY_BIN);
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(a.data());
    argv.push_back(nullptr);
    const std::string out = dir.path() + "/stdout", err = dir.path() + "/stderr";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    pid_t pid;
    run_t run;
    const auto start = std::chrono::steady_clock::now();
    if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0)
        return run;
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    while (::wait4(pid, &status, WNOHANG, &usage) == 0) {
        if (std::chrono::steady_clock::now() - start > std::chrono::seconds(limit)) {
            ::kill(pid, SIGKILL);
            ::wait4(pid, &status, 0, &usage);
            return run;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.out = slurp(out);
    run.err = slurp(err);
    run.maxRssMb = usage.ru_maxrss / 1024;
    return run;
}

// Every kind of path that is not a regular file, named `base` + suffix in
// `dir`; returns the base names.
std::vector<std::string> specialFiles(std::string const& dir, std::string const& suffix) {
    const std::vector<std::string> names = {"directory", "fifo",   "socket",
                                            "zero",      "random", "dangling"};
    auto path = [&](std::string const& name) { return dir + "/" + name + suffix; };
    ::mkdir(path("directory").c_str(), 0700);
    ::mkfifo(path("fifo").c_str(), 0600);
    const int sock = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    ::bind(sock, reinterpret_cast<sockaddr const*>(&address), sizeof address);
    ::listen(sock, 1); // a reader that connected would wait for ever
    ::symlink("/dev/zero", path("zero").c_str());
    ::symlink("/dev/urandom", path("random").c_str());
    ::symlink((dir + "/nowhere").c_str(), path("dangling").c_str());
    return names;
}

std::string database(std::vector<std::string> const& components) {
    std::string xml = "<db_xml><project>";
    for (std::string const& c : components)
        xml += "<component_file name=\"" + c + "\"/>";
    return xml + "</project></db_xml>";
}

const std::string HEADER = "#component,Po,Pr,Unr,Dis,Unp,Ext,Int,\n";

} // namespace

TEST(HostileCommand, SpecialFilesAreFilesThatCannotBeOpened) {
    ScratchDir dir;
    std::vector<std::string> components = specialFiles(dir.path(), ".pos");
    dir.write("good.pos", poDocument("<Simple_Goal status=\"Proved\"/>"));
    components.push_back("good");
    dir.write("p.db", database(components));
    const run_t run = prooftally({"-C", "-b", dir.path(), "-p", "p"}, dir);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, HEADER + "directory,0,0,0,0,0,0,0,\nfifo,0,0,0,0,0,0,0,\n"
                                "socket,0,0,0,0,0,0,0,\nzero,0,0,0,0,0,0,0,\n"
                                "random,0,0,0,0,0,0,0,\ndangling,0,0,0,0,0,0,0,\n"
                                "good,1,1,0,0,0,0,0,\nTOTAL,1,1,0,0,0,0,0,\n");
    EXPECT_EQ(run.err, "");
    EXPECT_LT(run.seconds, 10);

    // The same kinds of path as the project database: an empty project.
    for (std::string const& project : specialFiles(dir.path(), ".db")) {
        SCOPED_TRACE(project);
        const run_t empty = prooftally({"-C", "-b", dir.path(), "-p", project}, dir);
        EXPECT_EQ(empty.status, 0);
        EXPECT_EQ(empty.out, HEADER + "TOTAL,0,0,0,0,0,0,0,\n");
        EXPECT_EQ(empty.err, "");
        EXPECT_LT(empty.seconds, 10);
    }
}

// The PO file path is the bdp, "/", the name and ".pos", whatever the name
// holds: "sub/x" and "../y" reach those files, and an absolute name stays
// below the bdp.
TEST(HostileCommand, ComponentNamesAreComposedAsWritten) {
    ScratchDir dir;
    const std::string bdp = dir.path() + "/bdp";
    ::mkdir(bdp.c_str(), 0700);
    ::mkdir((bdp + "/sub").c_str(), 0700);
    dir.write("bdp/sub/x.pos", poDocument("<Simple_Goal status=\"Proved\"/>"));
    dir.write("y.pos", poDocument("<Simple_Goal/><Simple_Goal/>"));
    dir.write("abs.pos", poDocument("<Simple_Goal/>"));
    dir.write("bdp/p.db", database({"sub/x", "../y", dir.path() + "/abs"}));
    const run_t run = prooftally({"-C", "-b", bdp, "-p", "p"}, dir);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, HEADER + "sub/x,1,1,0,0,0,0,0,\n../y,2,0,0,0,2,0,0,\n" + dir.path() +
                           "/abs,0,0,0,0,0,0,0,\nTOTAL,3,1,0,0,2,0,0,\n");
    EXPECT_EQ(run.err, "");
}

// A goal whose ignored attribute holds hundreds of megabytes: counted, in
// memory proportional to that one value and not to a document tree.
TEST(HostileCommand, HugeAttributeValue) {
    const std::size_t megabytes = 300;
#ifdef SANITIZED_BUILD
    const long allowed = 6 * megabytes + 300; // shadow memory, quarantine
#else
    const long allowed = 3 * megabytes + 100; // the value once, in UTF-16
#endif
    ScratchDir dir;
    {
        std::ofstream po(dir.path() + "/big.pos", std::ios::binary);
        po << "<Proof_Obligations><Proof_Obligation><Simple_Goal status=\"Proved\">"
              "<Proof_State passList=\"";
        const std::string block(1 << 20, 'a');
        for (std::size_t i = 0; i < megabytes; ++i)
            po << block;
        po << "\" proofState=\"Proved(0)\"/><Mechanism name=\"m\" status=\"Proved\"/>"
              "</Simple_Goal></Proof_Obligation></Proof_Obligations>";
    }
    dir.write("p.db", database({"big"}));
    const run_t run = prooftally({"-C", "-b", dir.path(), "-p", "p"}, dir, 300);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "#component,Po,Pr,Unr,Dis,Unp,Ext,Int,m.Pr,m.Unr,m.Dis,m.Unk,m.Unp,\n"
                       "big,1,1,0,0,0,1,1,1,0,0,0,0,\nTOTAL,1,1,0,0,0,1,1,1,0,0,0,0,\n");
    std::cout << megabytes << " MB value: " << run.seconds << " s, peak " << run.maxRssMb
              << " MB\n";
    EXPECT_LT(run.maxRssMb, allowed);
}
