#include "ui/document_events.h"

#include <sys/stat.h>

#include <algorithm>

#include "tests/common/scripted_dispatcher.h"
#include "tests/common/workspace.h"

namespace kv::test {
namespace {

struct DocumentEventsTest : DispatchTest {};

TEST_F(DocumentEventsTest, StartsTheDispatcherThatIsInstalled) {
    const std::u16string product = u"Software\\Velmora Software\\Karvo12", location = u"InstallLocation";
    host::set_registry_string(HKEY_LOCAL_MACHINE, product, location, u"C:\\Nowhere");
    host::set_call_log(true);
    start_dispatcher_early();
    EXPECT_EQ(std::ranges::count(host::call_log(), "CreateProcessW"), 0);
    EXPECT_TRUE(messages().empty());

    const std::string said = shared + "/said";
    const std::string program = write_file(
        shared + "/kvdisp12", "#!/bin/sh\nprintf '%s ' \"$@\" > " + said + ".part\nmv " + said + ".part " + said);
    chmod(program.c_str(), 0700);
    install(program);
    host::set_registry_string(HKEY_LOCAL_MACHINE, product, location, u"C:\\Program Files\\Karvo");
    start_dispatcher_early();
    for (int i = 0; i < 5000 && read_file(said).empty(); ++i) usleep(1000);
    EXPECT_NE(read_file(said).find("!DOCUMENTEVENT_STARTDOCPRE "), std::string::npos) << read_file(said);
    EXPECT_NE(read_file(said).find(" /autoexit=1 /housekeeping=none "), std::string::npos) << read_file(said);
}

}  // namespace
}  // namespace kv::test
