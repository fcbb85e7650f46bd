// Runs a fuzz target over every file of the folders named on the command line.

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* iData, std::size_t iSize);

int main(int iArgc, char** iArgv)
{
    int count = 0;
    for (int i = 1; i < iArgc; ++i)
        for (const auto& entry : std::filesystem::directory_iterator(iArgv[i]))
        {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    std::cout << count << " inputs\n";
    return count > 0 ? 0 : 1;
}
