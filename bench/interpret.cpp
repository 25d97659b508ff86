// Reads every page of a document and draws nothing: what interpreting alone costs a program that prints it.

#include <cstdio>
#include <exception>

#include "printhost/document.h"
#include "printhost/mupdf.h"

namespace {

void interpret(const char* path) {
    using namespace kvprint;
    Request request;
    request.input = path;
    Warnings warnings;
    Context context(warnings, request.memory);
    const InputFile input(path);
    Document document(context.get(), input, request);
    for (int number = 1; number <= document.pages(); ++number) {
        Page page(context.get(), document, number, request);
        const auto nothing = make_held<DrawDevice>(
            context.get(), [&] { return fz_new_device_of_size(context.get(), sizeof(fz_device)); });
        page.run(nothing.get(), 1, {0, 0});
        document.forget_page();
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fputs("interpret DOCUMENT\n", stderr), 2;
    try {
        interpret(argv[1]);
        return 0;
    } catch (const std::exception& error) {
        return std::fprintf(stderr, "interpret: %s: %s\n", argv[1], error.what()), 1;
    }
}
