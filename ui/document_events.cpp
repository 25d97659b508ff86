#include "ui/document_events.h"

#include "dispatch/dispatcher.h"
#include "dispatch/launch.h"
#include "dispatch/named_mutex.h"
#include "dispatch/session_choice.h"
#include "support/paths.h"
#include "support/trace.h"

namespace kv {

void start_dispatcher_early() {
    CommandLine program;
    GetDispatcherCommandLine(nullptr, program);
    if (!FileExists(program.c_str())) {
        KV_TRACE(Dispatch, Info, "no dispatcher is installed");
        return;
    }
    ObjectName object;
    MakeObjectName(ObjectScope::Local, TEXT("Mutex"), TEXT("LaunchDisp"), object);
    CNamedMutex launching(object.c_str());
    if (!launching.Acquire(0)) return;  // somebody else does
    PathText source;
    make_source_name(source, TEXT("DOCUMENTEVENT_STARTDOCPRE"));
    CDispatcher dispatcher(TEXT("Dispatcher"), TEXT("Disp"));
    PrepareDispatcher(dispatcher, source.c_str(), 0, choose_session(), -1, &launching);
}

}  // namespace kv
