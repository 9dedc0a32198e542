#include "cli/app/application.h"

int main(int argc, char** argv)
{
    return tessit::cli::run_application(argc, argv);
}
