// stspi_claim.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "conformance/calls/configuration.h"
#include "conformance/calls/entry_points.h"
#include "conformance/report/test_case.h"
#include "conformance/watch/expect.h"
#include "conformance/watch/in_process.h"

namespace conformance {

namespace {

// Nothing is closed to root: from here on this process is an ordinary user's.
void give_up_root() {
    if (tests_run_in_process())
        skip_test("root's rights would stay given up in the process that all tests share");
    if (geteuid() == 0 && setresuid(65534, 65534, 65534) != 0)
        skip_test("root's rights cannot be given up here");
    if (access(work_directory().c_str(), F_OK) != 0)
        skip_test("without root's rights the test's directory cannot be reached: set TMPDIR to a place open to others");
}

}  // namespace

CONFORMANCE_TEST("claim.null-or-empty", "A null or empty name is not claimed, even when a file \".sim\" is there.") {
    write_config("", "");
    expect_status(plugin().claim(nullptr), STS_E_NOT_CLAIMED);
    expect_status(plugin().claim(""), STS_E_NOT_CLAIMED);
}

CONFORMANCE_TEST("claim.file-decides", "A name is claimed exactly when its configuration file is there.") {
    expect_status(plugin().claim("lab:x"), STS_E_NOT_CLAIMED);
    write_config("lab", "");
    expect_status(plugin().claim("lab:x"), 0);
    expect_status(plugin().claim("lab2:x"), STS_E_NOT_CLAIMED);
    expect_status(plugin().claim("la:x"), STS_E_NOT_CLAIMED);
    expect_status(plugin().claim("LAB:x"), STS_E_NOT_CLAIMED);
    remove_config("lab");
    expect_status(plugin().claim("lab:x"), STS_E_NOT_CLAIMED);
}

CONFORMANCE_TEST("claim.without-colon", "A name without ':' is its own prefix.") {
    write_config("lab", "");
    expect_status(plugin().claim("lab"), 0);
    expect_status(plugin().claim("labx"), STS_E_NOT_CLAIMED);
}

CONFORMANCE_TEST("claim.first-colon", "The prefix ends at the first ':', whatever follows.") {
    write_config("lab", "");
    expect_status(plugin().claim("lab:"), 0);
    expect_status(plugin().claim("lab:a:b:c"), 0);
    expect_status(plugin().claim("lab::"), 0);
}

CONFORMANCE_TEST("claim.empty-prefix", "The name \":x\" asks for the file \".sim\".") {
    expect_status(plugin().claim(":x"), STS_E_NOT_CLAIMED);
    write_config("", "");
    expect_status(plugin().claim(":x"), 0);
    expect_status(plugin().claim(":"), 0);
}

CONFORMANCE_TEST("claim.registration-prefix",
                 "The registration prefix alone does not claim a name: its file must be there.") {
    expect_status(plugin().claim("Kelvarpool:nodeA"), STS_E_NOT_CLAIMED);
    write_config("Kelvarpool", "");
    expect_status(plugin().claim("Kelvarpool:nodeA"), 0);
    expect_status(plugin().claim("Kelvarpool:"), 0);
    expect_status(plugin().claim("Kelvarpool"), 0);
}

CONFORMANCE_TEST("claim.contents-do-not-matter", "Claiming reads nothing of the file and prints nothing.") {
    write_config("lab", "=;;;\nFOO = 1;\nno equals sign\n\n");
    expect_status(plugin().claim("lab:x"), 0);
}

CONFORMANCE_TEST("claim.unreadable-file", "A file that may not be read is as good as none.") {
    write_config("lab", "");
    chmod(config_path("lab").c_str(), 0);
    give_up_root();
    expect_status(plugin().claim("lab:x"), STS_E_NOT_CLAIMED);
}

CONFORMANCE_TEST("claim.file-is-only-opened", "The file is opened for reading and not created, changed or kept open.") {
    write_config("lab", "x");
    chmod(config_path("lab").c_str(), 0444);
    struct stat before;
    stat(config_path("lab").c_str(), &before);
    give_up_root();
    for (int round = 0; round < 10; ++round)
        expect_status(plugin().claim("lab:x"), 0);
    struct stat after;
    stat(config_path("lab").c_str(), &after);
    expect_number("size of the file", after.st_size, before.st_size);
    expect_number("time of the last change", after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    expect_status(plugin().claim("never:x"), STS_E_NOT_CLAIMED);
    expect_true(access(config_path("never").c_str(), F_OK) != 0, config_path("never"), "no file", "a file");
}

CONFORMANCE_TEST("claim.long-names", "Names of 3,000 bytes are not claimed, and their host part does not matter.") {
    write_config("lab", "");
    for (const size_t length : {254UL, 255UL, 511UL, 512UL, 1023UL, 1024UL, 3000UL, 10000UL}) {
        const GuardedText prefix(std::string(length, 'p'));
        expect_status(plugin().claim(prefix.get()), STS_E_NOT_CLAIMED);
        const GuardedText host("lab:" + std::string(length, 'h'));
        expect_status(plugin().claim(host.get()), 0);
    }
}

CONFORMANCE_TEST("claim.odd-bytes", "Any bytes may stand in a name: blanks, '%', slashes, bytes above 127.") {
    write_config("a b", "");
    expect_status(plugin().claim("a b:x"), 0);
    expect_status(plugin().claim("%s%n%s:x"), STS_E_NOT_CLAIMED);
    write_config("%s", "");
    expect_status(plugin().claim("%s:x"), 0);
    write_config("\xc3\xa4", "");
    expect_status(plugin().claim("\xc3\xa4:x"), 0);
    write_config("lab", "");
    expect_status(plugin().claim("./lab:x"), 0);
    expect_status(plugin().claim("no/such/dir:x"), STS_E_NOT_CLAIMED);
}

}  // namespace conformance
