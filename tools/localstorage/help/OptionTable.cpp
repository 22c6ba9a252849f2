#include "help/OptionTable.h"

namespace {

optionEntry Describe(const CLI::Option& stOption) {
    optionEntry st;
    for (const std::string& strName : stOption.get_snames()) st.vecNames.push_back("-" + strName);
    for (const std::string& strName : stOption.get_lnames()) st.vecNames.push_back("--" + strName);
    st.bPositional = stOption.get_positional();
    if (st.bPositional) st.vecNames = {stOption.get_name(true)};
    if (stOption.get_items_expected_max() > 0) st.strValue = stOption.get_type_name();
    st.strDescription = stOption.get_description();
    st.strDefault = stOption.get_default_str();
    st.bRequired = stOption.get_required();
    st.bRepeatable = stOption.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll;
    return st;
}

}  // namespace

commandEntry DescribeCommand(const CLI::App& stCommand) {
    commandEntry st{stCommand.get_name(), stCommand.get_description(), stCommand.get_footer(), {}};
    for (const CLI::Option* pOption : stCommand.get_options()) {
        st.vecOptions.push_back(Describe(*pOption));
    }
    return st;
}

std::vector<commandEntry> DescribeSubcommands(const CLI::App& stApp) {
    std::vector<commandEntry> vecCommands;
    for (const CLI::App* pCommand : stApp.get_subcommands([](const CLI::App*) { return true; })) {
        vecCommands.push_back(DescribeCommand(*pCommand));
    }
    return vecCommands;
}
