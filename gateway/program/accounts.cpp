#include "gateway/program/accounts.hpp"

#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "gateway/base/text.hpp"
#include "gateway/store/password.hpp"
#include "gateway/store/store.hpp"

namespace avoip::gw {
namespace {

/// A line without its end. Throws when there is none.
std::string line() {
    std::string text;
    if (!std::getline(std::cin, text)) {
        throw std::runtime_error("there is no password on standard input");
    }
    return text;
}

/// Asks at the terminal, which does not show what is typed.
std::string hiddenLine(const char* question) {
    termios before{};
    const bool isTerminal = ::tcgetattr(STDIN_FILENO, &before) == 0;
    termios hidden = before;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    std::cerr << question << std::flush;
    if (isTerminal) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &hidden);
    }
    std::string text;
    std::getline(std::cin, text);
    if (isTerminal) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &before);
        std::cerr << "\n";
    }
    return text;
}

std::string askPassword(const Options& options) {
    if (!options.passwordFromInput && ::isatty(STDIN_FILENO) == 0) {
        throw std::runtime_error("standard input is no terminal; use --password-stdin");
    }
    std::string password = options.passwordFromInput ? line() : hiddenLine("Password: ");
    if (!options.passwordFromInput && hiddenLine("The same again: ") != password) {
        throw std::runtime_error("the two passwords differ");
    }
    const std::string problem = Password_problem(password);
    if (!problem.empty()) {
        throw std::runtime_error("the password " + problem);
    }
    return password;
}

/// Root makes files for whoever owns the folder, so that the service can read and write them.
void becomeOwnerOf(const std::string& folder) {
    struct stat facts {};
    if (::geteuid() != 0 || ::stat(folder.c_str(), &facts) != 0 || facts.st_uid == 0) {
        return;
    }
    if (::setegid(facts.st_gid) != 0 || ::seteuid(facts.st_uid) != 0) {
        throw std::runtime_error(folder + ": cannot act as its owner");
    }
}

AccountResult add(Store& store, AccountKind kind, const Options& options) {
    Account account{options.name, *Role_find(options.role)};
    const std::string problem = Text_nameProblem(options.name);
    if (!problem.empty()) {
        throw std::runtime_error("the name " + problem);
    }
    if (!options.rooms.empty()) {
        account.rooms = options.rooms;
    }
    const std::string problemOfRooms = Token_roomsProblem(store, account);
    if (!problemOfRooms.empty()) {
        throw std::runtime_error("--room " + problemOfRooms);
    }
    const std::string token = kind == AccountKind::kToken ? Token_make(account) : "";
    if (kind == AccountKind::kUser) {
        account.secret = Password_hash(askPassword(options));
    }
    const AccountResult result = Store_addAccount(store, kind, account);
    if (result == AccountResult::kDone && kind == AccountKind::kToken) {
        std::cout << token << "\n";
    }
    return result;
}

AccountResult act(Store& store, AccountKind kind, const Options& options) {
    if (options.verb == "add") {
        return add(store, kind, options);
    }
    if (options.verb == "remove") {
        return Store_removeAccount(store, kind, options.name, false);
    }
    if (options.verb == "password") {
        if (!Store_user(store, options.name)) {
            return AccountResult::kUnknown;
        }
        return Store_changeUser(store, options.name, {}, Password_hash(askPassword(options)));
    }
    for (const Account& account : Store_accounts(store, kind)) {
        std::cout << account.name << "\t" << Role_name(account.role);
        for (const std::string& room : account.rooms.value_or(std::vector<std::string>())) {
            std::cout << "\t" << room;
        }
        std::cout << "\n";
    }
    return AccountResult::kDone;
}

}  // namespace

int Accounts_run(const Options& options, const std::string& data) {
    const bool isUser = options.action == Action::kUser;
    const std::string what = isUser ? "user" : "token";
    try {
        becomeOwnerOf(data);
        const StoreHandle store = Store_open(data);
        const AccountKind kind = isUser ? AccountKind::kUser : AccountKind::kToken;
        const AccountResult result = act(*store, kind, options);
        if (result == AccountResult::kDone) {
            return 0;
        }
        std::cerr << "avoipgw: there is " << (result == AccountResult::kTaken ? "a " : "no ")
                  << what << " \"" << options.name << "\""
                  << (result == AccountResult::kTaken ? " already" : "") << "\n";
    } catch (const StoreError& error) {
        std::cerr << "avoipgw: " << error.text << "\n";
    } catch (const std::exception& error) {
        std::cerr << "avoipgw: " << error.what() << "\n";
    }
    return 1;
}

}  // namespace avoip::gw
