// The client's entry.
#include "core/application.h"

int main(int argc, char** argv) {
    return run_application(argc, argv);
}
