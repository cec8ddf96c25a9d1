#include "hook/hook_main.h"

int main(int argc, char** argv) { return hook::HookMain(argc, argv); }
