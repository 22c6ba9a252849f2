#include "help/OptionParser.h"

namespace {

/// Declares an option for the kind of value that it takes.
class COptionAdder {
public:
    COptionAdder(CLI::App& stApp, const option& stOption) : m_stApp(stApp), m_stOption(stOption) {}

    CLI::Option* operator()(bool* pFlag) const {
        return m_stApp.add_flag(m_stOption.strNames, *pFlag, m_stOption.strDescription);
    }
    CLI::Option* operator()(std::vector<std::string>* pTexts) const {
        return Add(pTexts)->allow_extra_args(false)->take_all();
    }
    CLI::Option* operator()(configFile* pFile) const { return Add(&pFile->strPath); }
    template <typename T>
    CLI::Option* operator()(T* pValue) const {
        return Add(pValue);
    }

private:
    template <typename T>
    CLI::Option* Add(T* pValue) const {
        return m_stApp.add_option(m_stOption.strNames, *pValue, m_stOption.strDescription);
    }

    CLI::App& m_stApp;
    const option& m_stOption;
};

}  // namespace

CLI::Option* AddOption(CLI::App& stApp, const option& st) {
    CLI::Option* pOption = std::visit(COptionAdder(stApp, st), st.target);
    pOption->required(st.bRequired);
    if (!st.IsFlag()) pOption->type_name(st.strValue);
    if (!st.strDefault.empty()) pOption->default_str(st.strDefault);
    if (!st.vChoices.empty()) pOption->check(CLI::IsMember(st.vChoices).description(""));
    if (st.stRange.second > 0) {
        pOption->check(CLI::Range(st.stRange.first, st.stRange.second).description(""));
    }
    if (st.fnFault) pOption->check(CLI::Validator(st.fnFault, ""));
    if (!st.strNeeds.empty()) pOption->needs(stApp.get_option(st.strNeeds));
    return pOption;
}
