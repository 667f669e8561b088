// Images are the image library's business: what a plug-in hands on, and what it does to it first.
#include "conformance/model/model.h"
#include "conformance/model/reached.h"
#include "stspi/stspi.h"

namespace conformance::model {

namespace {

std::string library_function(const Call &call) { return "stsimg_" + entry_point_name(call).substr(6); }

}  // namespace

void Model::lsu_image_call(const Call &call, Expected &expected) {
    const bool is_create = call.operation == Operation::create_image;
    if (call.null_record || call.handle == 0 || (is_create && (!call.text || call.null_out))) {
        reached("image: null argument");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    const Server &on = *server(call.handle);
    // One of them goes by another's name, and always has.
    const std::string traced_as =
        call.operation == Operation::get_image_prop_byname ? "stspi_delete_image" : entry_point_name(call);
    const Bracket bracket(*this, on.session, traced_as, expected);
    std::string lsu_text = call.name.value_or("");
    if (on.copan) {
        if (!on.copan->has(lsu_text)) {
            reached("image: unknown Copan LSU");
            expected.status = STS_E_NO_SERVER;
            return;
        }
        trace(on.session, "Replacing LSU name by its path, original lsu_name is ", expected);
        trace(on.session, lsu_text, expected);
        const auto path = on.copan->directory_of(
            machine_, lsu_text, [&](const std::string &text) { say(simulators_.copan, text, expected); });
        reached(path ? "image: Copan LSU" : "image: Copan LSU without a directory");
        lsu_text = path ? path->substr(0, STS_LSU_NAME_SIZE - 1) : "";
        trace(on.session, "new lsu_name is ", expected);
        trace(on.session, lsu_text, expected);
    } else {
        reached("image: LSU name as it is");
    }
    const Word definition{Word::definition};
    const Word flags{Word::number32, static_cast<uint32_t>(call.numbers[0])};
    const Word out{Word::out};
    LibraryCall library{library_function(call), {}, true, lsu_text, on.host_name};
    library.arguments[1] = {Word::number, 0};
    switch (call.operation) {
        case Operation::create_image:
        case Operation::open_image:
            library.arguments[3] = definition;
            library.arguments[4] = flags;
            library.arguments[5] = out;
            break;
        case Operation::delete_image:
            library.arguments[3] = definition;
            library.arguments[4] = flags;
            break;
        case Operation::open_image_list:
            library.arguments[3] = flags;
            library.arguments[4] = out;
            break;
        default:
            library.arguments[3] = definition;
            library.arguments[4] = out;
            break;
    }
    expected.library.push_back(library);
    expected.status = call.library_status;
}

void Model::pass_through(const Call &call, Expected &expected) {
    reached("image: handed on");
    LibraryCall library{library_function(call)};
    for (size_t i = 0; i < call.numbers.size(); ++i)
        library.arguments[i] = {Word::number, call.numbers[i]};
    library.arguments[5] = {Word::number, ~call.numbers[0]};
    expected.library.push_back(library);
    expected.status = call.library_status;
}

// One read and one write: what was read is written, be it less than was asked for.
void Model::copy(const Call &call, Expected &expected) {
    const auto &[target, target_offset, source, source_offset, length] = call.numbers;
    const bool has_count = call.operation == Operation::copy_extent;
    const auto size = static_cast<int32_t>(static_cast<uint32_t>(length));
    if (target == 0 || (has_count && call.null_out) || size < 0) {
        reached("copy: refused");
        expected.status = STS_E_INVALID_PARAMETER;
        return;
    }
    expected.library.push_back(
        {"stsimg_read_image",
         {{{Word::number, source}, {Word::buffer}, {Word::number, length}, {Word::number, source_offset}}}});
    expected.status = call.library_status;
    if (call.library_status != 0) {
        reached("copy: read fails");
        return;
    }
    expected.library.push_back({"stsimg_write_image",
                                {{{Word::number, target},
                                  {Word::number, 0},
                                  {Word::buffer},
                                  {Word::number, call.library_count},
                                  {Word::number, target_offset}}}});
    expected.status = call.library_status_2;
    reached(call.library_status_2 == 0 ? "copy: done" : "copy: write fails");
    if (has_count)
        expected.count = call.library_count_2;
}

}  // namespace conformance::model
