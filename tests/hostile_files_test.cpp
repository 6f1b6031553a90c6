// Files that are not what a project should hold: the collection ends by
// itself, soon, every such file read as one that cannot be opened.
#include "prooftally/collect.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <fstream>

namespace {

// Every kind of path that is not a regular file, named NAME + suffix in
// `dir`; returns the names.
std::vector<std::string> specialFiles(std::string const& dir, std::string const& suffix) {
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
    return {"directory", "fifo", "socket", "zero", "random", "dangling"};
}

std::string database(std::vector<std::string> const& components) {
    std::string xml = "<db_xml><project>";
    for (std::string const& c : components)
        xml += "<component_file name=\"" + c + "\"/>";
    return xml + "</project></db_xml>";
}

// "name: describe(record)" per component.
std::string collected(std::string const& bdp, std::string const& project) {
    std::string text;
    for (component_t const& c : collect_metrics(bdp, project).components)
        text += c.name + ": " + describe(c.metrics) + "\n";
    return text;
}

const std::string ZERO = "po 0 unp 0 pr 0 unr 0 dis 0 ext 0 int 0\n";

} // namespace

TEST(HostileFiles, SpecialFilesAreFilesThatCannotBeOpened) {
    ScratchDir dir;
    std::vector<std::string> components = specialFiles(dir.path(), ".pos");
    dir.write("good.pos", poDocument("<Simple_Goal status=\"Proved\"/>"));
    components.push_back("good");
    dir.write("p.db", database(components));
    EXPECT_EQ(collected(dir.path(), "p"), "directory: " + ZERO + "fifo: " + ZERO +
                                              "socket: " + ZERO + "zero: " + ZERO +
                                              "random: " + ZERO + "dangling: " + ZERO +
                                              "good: po 1 unp 0 pr 1 unr 0 dis 0 ext 0 int 0\n");
    // The same kinds of path as the project database: an empty project.
    for (std::string const& project : specialFiles(dir.path(), ".db"))
        EXPECT_EQ(collected(dir.path(), project), "") << project;
}

// The PO file path is the bdp, "/", the name and ".pos", whatever the name
// holds: "sub/x" and "../y" reach those files, and an absolute name stays
// below the bdp.
TEST(HostileFiles, ComponentNamesAreComposedAsWritten) {
    ScratchDir dir;
    const std::string bdp = dir.path() + "/bdp";
    ::mkdir(bdp.c_str(), 0700);
    ::mkdir((bdp + "/sub").c_str(), 0700);
    dir.write("bdp/sub/x.pos", poDocument("<Simple_Goal status=\"Proved\"/>"));
    dir.write("y.pos", poDocument("<Simple_Goal/><Simple_Goal/>"));
    dir.write("abs.pos", poDocument("<Simple_Goal/>"));
    dir.write("bdp/p.db", database({"sub/x", "../y", dir.path() + "/abs"}));
    EXPECT_EQ(collected(bdp, "p"), "sub/x: po 1 unp 0 pr 1 unr 0 dis 0 ext 0 int 0\n"
                                   "../y: po 2 unp 2 pr 0 unr 0 dis 0 ext 0 int 0\n" +
                                       dir.path() + "/abs: " + ZERO);
}

// A goal whose ignored attribute holds hundreds of megabytes: counted, in
// memory proportional to that one value and not to a document tree. Each
// test runs in a process of its own, so the peak is this count's.
TEST(HostileFiles, HugeAttributeValue) {
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
    pos::metrics_t m;
    EXPECT_EQ(pos::countPoFile(dir.path() + "/big.pos", m), pos::po_read_t::read);
    EXPECT_EQ(describe(m),
              "po 1 unp 0 pr 1 unr 0 dis 0 ext 1 int 1 | m: unp 0 unk 0 pr 1 unr 0 dis 0");
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss / 1024, allowed);
}
