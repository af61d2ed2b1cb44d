// Runs the services of a Mac through what their interfaces promise. With the address of a file on a server,
// that is fetched as well. Usage: mac-contract [HTTPS-ADDRESS]
#include "hosts/macos/MacHost.h"
#include "hosts/macos/contract/Contract.h"

int main(int argumentCount, char** arguments) {
    using namespace InstallerCore;
    using namespace InstallerCore::MacContract;
    const MacHost host;
    Contract contract(host.platform());
    contract.part("Files", checkFiles);
    contract.part("Folders", checkFolders);
    contract.part("Processes", checkProcesses);
    contract.part("Property lists", checkPropertyLists);
    contract.part("Digests", checkDigests);
    contract.part("Languages", checkLanguages);
    contract.part("System, log and resources", checkSystem);
    contract.part("Workspace", checkWorkspace);
    contract.part("Code signing", checkCodeSigning);
    contract.part("HTTP, on this machine", checkHttp);
    for (int index = 1; index < argumentCount; ++index) {
        checkDownload(contract, arguments[index]);
    }
    std::printf("\n%d failed\n", contract.failures());
    return contract.failures() == 0 ? 0 : 1;
}
