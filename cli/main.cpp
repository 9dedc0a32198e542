#include "cli/app/application.h"
#include "cli/platform/platform.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

int main(int argc, char** argv)
{
    tessit::cli::platform::prepare_standard_streams();
    const std::vector<std::string> words = tessit::cli::platform::arguments(argc, argv);
    std::vector<const char*> pointers;
    std::ranges::transform(words, std::back_inserter(pointers), &std::string::c_str);
    return tessit::cli::run_application(static_cast<int>(pointers.size()), pointers.data());
}
