#include "cli/app/application.h"
#include "cli/platform/platform.h"

int main(int argc, char** argv)
{
    tessit::cli::platform::occupy_standard_streams();
    return tessit::cli::run_application(argc, argv);
}
