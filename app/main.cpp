#include "Application.h"
#include "VelmoraAppDelegate.h"

int main(int argc, char **argv)
{
    return Application::main(argc, argv, [] { return std::make_unique<VelmoraAppDelegate>(); });
}
