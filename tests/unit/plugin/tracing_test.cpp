// The log classes, the object that brackets an entry point, and the exception.
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include "plugin/message_log.h"
#include "plugin/trace_object.h"
#include "sim/session_log.h"
#include "sim/sts_exception.h"
#include "stspi/stspi.h"
#include "tests/support/config_directory.h"
#include "tests/support/log_recorder.h"
#include "tests/support/servers.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// ---- classes -----------------------------------------------------------------------------------------------------

TEST(MessageLog, EachClassHasItsMaskBitAndItsLevel) {
    for (uint32_t mask = 0; mask < 512; ++mask) {
        LogRecorder log(mask);
        log_trace(log.session(), "t");
        log_error(log.session(), "e");
        std::vector<Message> expected;
        if ((mask & 0x1) != 0)
            expected.push_back({3, "t"});
        if ((mask & 0x8) != 0)
            expected.push_back({4, "e"});
        EXPECT_EQ(log.messages(), expected) << mask;
    }
}

TEST(MessageLog, WithoutSessionFunctionOrTextNothingIsSent) {
    log_trace(nullptr, "t");
    log_error(nullptr, "e");
    LogRecorder log;
    log_trace(log.session(), nullptr);
    log_error(log.session(), nullptr);
    log.session()->log_function = nullptr;
    log_trace(log.session(), "t");
    log_error(log.session(), "e");
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(MessageLog, SessionIsReadAfreshForEveryMessage) {
    LogRecorder log(0);
    log_trace(log.session(), "before");
    log.session()->log_mask = STS_LOG_MASK_TRACE;
    log_trace(log.session(), "after");
    EXPECT_THAT(log.messages(), ElementsAre(trace("after")));
}

TEST(MessageLog, TextIsNoFormat) {
    LogRecorder log;
    log_error(log.session(), "%s%n%d");
    EXPECT_THAT(log.messages(), ElementsAre(error("%s%n%d")));
}

TEST(SessionLog, MaskIsNotConsulted) {
    LogRecorder log(0);
    log_unmasked(log.session(), "e");
    EXPECT_THAT(log.messages(), ElementsAre(error("e")));
}

TEST(SessionLog, WithoutSessionOrFunctionNothingIsSent) {
    log_unmasked(nullptr, "e");
    LogRecorder log;
    log.session()->log_function = nullptr;
    log_unmasked(log.session(), "e");
    EXPECT_THAT(log.messages(), IsEmpty());
}

// ---- TraceObject -------------------------------------------------------------------------------------------------

TEST(TraceObject, SendsAnEnteringAndALeavingLine) {
    LogRecorder log;
    {
        const TraceObject traced(log.session(), "some_function");
        EXPECT_THAT(log.messages(), ElementsAre(Message{3, "++++ Entering some_function\n"}));
        log_trace(log.session(), "between");
    }
    EXPECT_THAT(log.messages(), ElementsAre(Message{3, "++++ Entering some_function\n"}, trace("between"),
                                            Message{3, "---- Leaving some_function\n"}));
}

TEST(TraceObject, NullSessionIsInert) {
    // The name is not copied, nor looked at: the object's memory stays as it was but for its null session.
    for (const char *name : {"some_function", static_cast<const char *>(nullptr)}) {
        alignas(TraceObject) unsigned char memory[sizeof(TraceObject)];
        std::memset(memory, 0x5a, sizeof memory);
        auto *traced = new (memory) TraceObject(nullptr, name);
        const void *session = memory;
        std::memcpy(&session, memory, sizeof session);
        EXPECT_EQ(session, nullptr);
        EXPECT_EQ(std::count(memory + sizeof session, memory + sizeof memory, 0x5a), 1024);
        traced->~TraceObject();
        EXPECT_EQ(std::count(memory + sizeof session, memory + sizeof memory, 0x5a), 1024);
    }
}

TEST(TraceObject, WithoutItsMaskBitNothingIsSent) {
    LogRecorder log(~uint32_t{STS_LOG_MASK_TRACE});
    { const TraceObject traced(log.session(), "f"); }
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(TraceObject, NameIsCopied) {
    LogRecorder log;
    std::string name = "first";
    {
        const TraceObject traced(log.session(), name.c_str());
        name = "other";
    }
    EXPECT_THAT(log.messages(), ElementsAre(entering("first"), leaving("first")));
}

TEST(TraceObject, LeavingLineComesWhenAnExceptionPasses) {
    LogRecorder log;
    try {
        const TraceObject traced(log.session(), "f");
        throw std::bad_alloc();
    } catch (const std::bad_alloc &) {
    }
    EXPECT_THAT(log.messages(), ElementsAre(entering("f"), leaving("f")));
}

TEST(TraceObject, OverlongNameIsCutInBothLines) {
    for (const size_t length : {1000U, 1001U, 1023U, 1024U, 1025U, 3000U}) {
        LogRecorder log;
        { const TraceObject traced(log.session(), std::string(length, 'f').c_str()); }
        const std::string name(1000, 'f');
        EXPECT_THAT(log.messages(), ElementsAre(entering(name), leaving(name))) << length;
    }
}

TEST(TraceObject, HoldsTheSessionAndANameOf1024Bytes) { EXPECT_EQ(sizeof(TraceObject), sizeof(void *) + 1024); }

// ---- STSException ------------------------------------------------------------------------------------------------

TEST(StsException, CopiesItsText) {
    std::string text = "StorageServer not found";
    const STSException exception(text.c_str());
    text = "changed";
    EXPECT_STREQ(exception.toString(), "StorageServer not found");
}

TEST(StsException, IsThrownByValueAndCaughtByReference) {
    try {
        throw STSException("why");
    } catch (const STSException &exception) {
        EXPECT_STREQ(exception.toString(), "why");
    }
}

// ---- entry points ------------------------------------------------------------------------------------------------

TEST(EntryPointTracing, TraceClassAloneGivesTheTwoLinesAndNoErrors) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=other;\n");
    LogRecorder log(STS_LOG_MASK_TRACE);
    const OpenedServer server(log.session(), "copan:arr1");
    EXPECT_EQ(server.status(), STS_E_INTERNAL);
    EXPECT_THAT(log.messages(), ElementsAre(entering("stspi_open_server"), trace("copan:arr1"), trace("STS-DYNAMIC "),
                                            leaving("stspi_open_server")));
}

TEST(EntryPointTracing, ErrorClassAloneGivesTheExceptionsTwoMessages) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=other;\n");
    LogRecorder log(STS_LOG_MASK_ERROR);
    const OpenedServer server(log.session(), "copan:arr1");
    EXPECT_EQ(server.status(), STS_E_INTERNAL);
    EXPECT_THAT(log.messages(), ElementsAre(error("copan:arr1"), error("StorageServer not found")));
    log.clear();
    sts_server_info_t info{};
    EXPECT_EQ(stspi_get_server_prop_byname(log.session(), "copan:arr1", &info), STS_E_INTERNAL);
    EXPECT_THAT(log.messages(), ElementsAre(error("StorageServer not found")));
}

TEST(EntryPointTracing, OtherMaskBitsDeliverNothing) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=other;\n");
    LogRecorder log(0xfffffff6);
    const OpenedServer server(log.session(), "copan:arr1");
    EXPECT_EQ(server.status(), STS_E_INTERNAL);
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST(EntryPointTracing, WithoutLogFunctionOrSessionTheStatusIsTheSame) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=other;\n");
    LogRecorder log;
    log.session()->log_function = nullptr;
    EXPECT_EQ(OpenedServer(log.session(), "copan:arr1").status(), STS_E_INTERNAL);
    EXPECT_EQ(OpenedServer(nullptr, "copan:arr1").status(), STS_E_INTERNAL);
    EXPECT_THAT(log.messages(), IsEmpty());
}

// A log function that throws at one message.
std::string bad_message;
void throw_at_bad_message(uint64_t, const char *text, int32_t) {
    if (text == bad_message)
        throw std::runtime_error("no room in the log");
}

TEST(EntryPointTracing, WhatALogFunctionThrowsOnTheLeavingLineIsDropped) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=arr1;\n");
    LogRecorder log;
    log.session()->log_function = throw_at_bad_message;
    bad_message = "---- Leaving stspi_open_server\n";
    sts_server_handle_t handle = nullptr;
    EXPECT_EQ(stspi_open_server(log.session(), "copan:arr1", nullptr, nullptr, &handle), 0);
    bad_message = "---- Leaving stspi_close_server\n";
    EXPECT_EQ(stspi_close_server(handle), 0);
}

TEST(EntryPointTracing, WhatALogFunctionThrowsOnTheEnteringLinePassesBeforeAnythingIsDone) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=arr1;\n");
    LogRecorder log;
    log.session()->log_function = throw_at_bad_message;
    bad_message = "++++ Entering stspi_open_server\n";
    sts_server_handle_t handle = nullptr;
    EXPECT_THROW(stspi_open_server(log.session(), "copan:arr1", nullptr, nullptr, &handle), std::runtime_error);
    EXPECT_EQ(handle, nullptr);
    bad_message = "++++ Entering stspi_close_server\n";
    const OpenedServer server(log.session(), "copan:arr1");
    EXPECT_THROW(stspi_close_server(server.handle()), std::runtime_error);
    bad_message = "";
    sts_server_info_t info{};
    EXPECT_EQ(stspi_get_server_prop(server.handle(), &info), 0);  // still open
}

TEST(EntryPointTracing, AnotherExceptionPassesBehindTheLeavingLine) {
    const ConfigDirectory config;
    config.write("copan", "STORAGE_SERVER=arr1;\n");
    LogRecorder log;
    // The host's own log function throws in the middle of the call.
    static LogRecorder *recorder;
    recorder = &log;
    log.session()->log_function = [](uint64_t, const char *text, int32_t level) {
        if (std::string(text) == "STS-DYNAMIC ")
            throw std::bad_alloc();
        recorder->add({level, text});
    };
    sts_server_handle_t handle = nullptr;
    EXPECT_THROW(stspi_open_server(log.session(), "copan:arr1", nullptr, nullptr, &handle), std::bad_alloc);
    EXPECT_THAT(log.messages(),
                ElementsAre(entering("stspi_open_server"), trace("copan:arr1"), leaving("stspi_open_server")));
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(stspi_close_server(handle), 0);
}

}  // namespace
