#pragma once

#include <map>
#include <string>
#include <vector>

// What an executable's resources say.

// The texts of the version resource by their names; besides them "FixedFileVersion" and
// "FixedProductVersion" as "1.2.3.4". Empty without one.
std::map<std::string, std::string> versionOf(const std::wstring& file);

// The manifests, each as it lies in the file.
std::vector<std::string> manifestsOf(const std::wstring& file);

// The elements of an XML text in their order, each as its path, name by name with its namespace,
// and its attributes: "{ns}assembly/{ns}trustInfo level=asInvoker". Texts between elements stand
// for themselves. Throws std::invalid_argument for what is not well formed.
std::vector<std::string> elementsOf(const std::string& xml);
