#include "rehearsal/RehearsalProgram.h"

#include "KavioInstaller/EntryPoint.h"
#include "rehearsal/RehearsalConfiguration.h"

#include <exception>
#include <iostream>

namespace InstallerCore::Rehearsal {

int runProgram(const RehearsalProgram& program, int count, char** arguments,
               const std::function<int(const Config&, const CommandLine&)>& body) {
    try {
        const CommandLine line = CommandLine::read(count, arguments, program.options);
        if (line.operands.empty() || line.operands.size() > program.mostOperands) {
            std::cerr << program.usage;
            return 2;
        }
        return runWithConfiguration(rehearsedConfiguration(line.option("--configuration")), std::cerr,
                                    [&](Config config) {
                                        config.bundleID = line.option("--bundle-identifier", config.bundleID);
                                        return body(config, line);
                                    });
    } catch (const std::exception& error) {
        std::cerr << program.name << ": " << error.what() << '\n';
        return 1;
    }
}

} // namespace InstallerCore::Rehearsal
