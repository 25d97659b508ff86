#include "dispatcher/delivery.h"

namespace kvdisp12 {

// The program that draws jobs is not built for this system, and CUPS is another system's.
std::unique_ptr<Target> make_target(const Destination& destination) {
    switch (destination.kind) {
        case Destination::Kind::None:
            return nullptr;
        case Destination::Kind::Command:
            return make_command_target(destination.words);
        case Destination::Kind::Pdf:
            throw std::runtime_error("--deliver pdf: jobs are not drawn on Windows; command: gives them to a program");
        default:
            throw std::runtime_error(
                "--deliver cups: CUPS is not reached from Windows; command: gives jobs to a program");
    }
}

}  // namespace kvdisp12
