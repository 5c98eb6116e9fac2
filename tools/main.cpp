// plexa: the library from a shell. Each subcommand lives in tools/cmd_<name>.cpp and is added
// here by one line.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tools/cli.h"

// Declares plexa::tool::Register<Name>(Tool&) and calls it when the run needs that subcommand
// (Tool::Wants; Name is the subcommand's name in any case).
#define PLEXA_SUBCOMMAND(Name) \
  void Register##Name(Tool&);  \
  if (tool.Wants(#Name)) Register##Name(tool)

namespace plexa::tool {

// `plexa trace IMAGE -o OUT` with every option at its default (see Tool::RunPlain).
int RunTracePlain(const std::string& input, const std::string& output);

void RegisterAll(Tool& tool) {
  // One line a subcommand, in the order `plexa --help` lists them.
  PLEXA_SUBCOMMAND(Trace);
  PLEXA_SUBCOMMAND(Convert);
  PLEXA_SUBCOMMAND(Text);
  PLEXA_SUBCOMMAND(Envelope);
  PLEXA_SUBCOMMAND(Effect);
  PLEXA_SUBCOMMAND(Centerline);
  PLEXA_SUBCOMMAND(Edges);
  PLEXA_SUBCOMMAND(Scatter);
  PLEXA_SUBCOMMAND(Weld);
  PLEXA_SUBCOMMAND(Boolean);
  PLEXA_SUBCOMMAND(Colours);
  PLEXA_SUBCOMMAND(Nest);
  PLEXA_SUBCOMMAND(Offset);
  PLEXA_SUBCOMMAND(Contour);
}

}  // namespace plexa::tool

int main(int argc, char** argv) {
  plexa::tool::Tool tool;
  plexa::tool::RegisterAll(tool);  // names only
  tool.Select(argc, argv);
  int status = 0;
  // The commonest line, a trace with every option at its default, needs no option tree.
  if (!tool.RunPlain("trace", &plexa::tool::RunTracePlain, argc, argv, status)) {
    plexa::tool::RegisterAll(tool);
    status = tool.Main(argc, argv);
  }
  // Every file is written and closed by now: flush the standard streams and leave without
  // tearing down the option tree and the static objects (a fair share of a small job's time).
  std::fflush(nullptr);
  std::_Exit(status);
}
