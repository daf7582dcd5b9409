// The gateway's command line, its configuration, and who may do what.
#include "bed/wait.hpp"
#include "gateway_bed.hpp"

namespace {

const std::string kApi = "/api/v1";

class GatewayAccounts : public GatewayBed {
  protected:
    void addUser(const std::string& name, const std::string& role) const {
        ASSERT_EQ(run({"user", "add", name, "--role", role, "--password-stdin"}, name + "-word\n"),
                  0);
    }

    std::string addToken(const std::string& name, const std::string& role) const {
        std::string token;
        EXPECT_EQ(run({"token", "add", name, "--role", role}, "", &token), 0);
        return "Authorization: Bearer " + token.substr(0, token.find('\n'));
    }

    /// What a browser sends once it was given this session.
    struct Browser {
        std::string cookie;
        std::string csrf;
    };
    static Browser browserOf(const bed::HttpAnswer& session) {
        const std::string set = session.headers.at("set-cookie");
        return {"Cookie: " + set.substr(0, set.find(';')),
                "X-CSRF-Token: " + member(session, "csrf_token")};
    }

    static bed::HttpAnswer logIn(const std::string& user, const std::string& password) {
        return ask("POST", kApi + "/session",
                   R"({"user":")" + user + R"(","password":")" + password + "\"}");
    }
};

TEST_F(GatewayAccounts, are_made_listed_and_removed_from_a_terminal) {
    addUser("anna", "admin");
    addUser("otto", "operator");
    std::string output;
    std::string errors;
    EXPECT_EQ(run({"user", "list"}, "", &output), 0);
    EXPECT_EQ(output, "anna\tadmin\notto\toperator\n");
    EXPECT_EQ(run({"user", "add", "anna", "--role", "viewer", "--password-stdin"}, "x\n", nullptr,
                  &errors),
              1);
    EXPECT_EQ(errors, "avoipgw: there is a user \"anna\" already\n");
    EXPECT_EQ(run({"user", "remove", "otto"}), 0);
    EXPECT_EQ(run({"user", "remove", "otto"}), 1);
    EXPECT_EQ(run({"user", "add", "eva", "--role", "chief", "--password-stdin"}, "x\n"), 2);
}

TEST_F(GatewayAccounts, are_kept_from_the_group_of_front_ends) {
    addUser("anna", "admin");
    start();
    for (const char* const file : {"", "-wal", "-shm"}) {
        const auto path = folder + "/data/gateway.sqlite" + file;
        EXPECT_EQ(std::filesystem::status(path).permissions(),
                  std::filesystem::perms::owner_read | std::filesystem::perms::owner_write)
            << path;
    }
}

TEST_F(GatewayAccounts, log_in_with_a_cookie_and_change_things_with_its_token_only) {
    addUser("anna", "admin");
    start();
    EXPECT_EQ(ask("GET", kApi + "/system").status, 401);
    EXPECT_EQ(ask("GET", "/healthz/live").status, 200);
    EXPECT_EQ(ask("GET", "/metrics").status, 200);
    const bed::HttpAnswer session = logIn("anna", "anna-word");
    ASSERT_EQ(session.status, 200) << session.body;
    EXPECT_EQ(member(session, "role"), "admin");
    const std::string set = session.headers.at("set-cookie");
    for (const char* const attribute : {"; HttpOnly", "; SameSite=Strict"}) {
        EXPECT_NE(set.find(attribute), std::string::npos) << set;
    }
    const auto [cookie, csrf] = browserOf(session);
    EXPECT_EQ(ask("GET", kApi + "/session", "", {cookie}).body, session.body);
    EXPECT_EQ(ask("PUT", kApi + "/rooms/a", "{}", {cookie}).status, 403);
    EXPECT_EQ(ask("PUT", kApi + "/rooms/a", "{}", {cookie, csrf}).status, 201);
    EXPECT_EQ(
        ask("PUT", kApi + "/session/password", R"({"old":"no","new":"b"})", {cookie, csrf}).status,
        403);
    EXPECT_EQ(
        ask("PUT", kApi + "/session/password", R"({"old":"anna-word","new":"b"})", {cookie, csrf})
            .status,
        204);
    EXPECT_EQ(ask("DELETE", kApi + "/session", "", {cookie, csrf}).status, 204);
    EXPECT_EQ(ask("GET", kApi + "/session", "", {cookie}).status, 401);
    EXPECT_EQ(logIn("anna", "b").status, 200);
}

TEST_F(GatewayAccounts, log_in_with_a_token_for_as_long_as_it_stands) {
    addUser("anna", "admin");
    const std::string authorization = addToken("wall", "operator");
    const std::string token = authorization.substr(authorization.rfind(' ') + 1);
    start();
    const auto logInBy = [](const std::string& text) {
        return ask("POST", kApi + "/session", R"({"token":")" + text + "\"}");
    };
    EXPECT_EQ(logInBy("avoip_0").status, 401);
    EXPECT_EQ(ask("POST", kApi + "/session", R"({"token":"t","user":"anna"})").status, 422);
    const bed::HttpAnswer session = logInBy(token);
    ASSERT_EQ(session.status, 200) << session.body;
    EXPECT_TRUE(session.body.starts_with(R"({"user":"wall","role":"operator","csrf_token":")"));
    const auto [cookie, csrf] = browserOf(session);
    EXPECT_EQ(ask("GET", kApi + "/session", "", {cookie}).body, session.body);
    EXPECT_EQ(ask("PUT", kApi + "/locks/rx1", "{}", {cookie}).status, 403);
    EXPECT_EQ(ask("PUT", kApi + "/locks/rx1", "{}", {cookie, csrf}).status, 404);
    EXPECT_EQ(
        ask("PUT", kApi + "/session/password", R"({"old":"a","new":"b"})", {cookie, csrf}).status,
        403);
    EXPECT_EQ(run({"token", "remove", "wall"}), 0);
    EXPECT_EQ(ask("GET", kApi + "/session", "", {cookie}).status, 401);
}

TEST_F(GatewayAccounts, that_are_removed_get_no_more_events_however_many_there_are) {
    const std::string admin = addToken("boss", "admin");
    const std::string viewer = addToken("screen", "viewer");
    start();
    bed::Http stream(kGatewayPort);
    stream.send("GET /api/v1/events HTTP/1.1\r\nHost: localhost\r\n" + viewer + "\r\n\r\n");
    ask("PUT", kApi + "/presets/a", R"({"routes":{}})", {admin});
    stream.await("event: log\n");
    EXPECT_EQ(ask("DELETE", kApi + "/tokens/screen", "", {admin}).status, 204);
    // Each change gives several lines; the last chunk is a line too.
    std::string line;
    const auto end = std::chrono::steady_clock::now() + bed::kPatience;
    while (line != "0\r\n" && std::chrono::steady_clock::now() < end) {
        ask("PUT", kApi + "/presets/a", R"({"routes":{}})", {admin});
        do {
            line = stream.await("\n");
        } while (line != "0\r\n" && line != "event: log\n");
    }
    EXPECT_EQ(line, "0\r\n");
}

TEST_F(GatewayAccounts, of_tokens_may_be_limited_to_rooms_that_there_are) {
    start();
    ASSERT_EQ(ask("PUT", kApi + "/rooms/hall", "{}").status, 201);
    const std::string tokens = kApi + "/tokens";
    const auto statusOf = [&tokens](const std::string& rest) {
        return ask("POST", tokens, R"({"name":"t","role":)" + rest + "}").status;
    };
    EXPECT_EQ(statusOf(R"("operator","rooms":["cellar"])"), 422);
    EXPECT_EQ(statusOf(R"("operator","rooms":[])"), 422);
    EXPECT_EQ(statusOf(R"("admin","rooms":["hall"])"), 422);
    EXPECT_EQ(statusOf(R"("operator","rooms":["hall"])"), 201);
    std::string output;
    std::string errors;
    EXPECT_EQ(run({"token", "add", "u", "--role", "viewer", "--room", "hall"}), 0);
    EXPECT_EQ(run({"token", "list"}, "", &output), 0);
    EXPECT_EQ(output, "t\toperator\thall\nu\tviewer\thall\n");
    EXPECT_EQ(
        run({"token", "add", "v", "--role", "viewer", "--room", "attic"}, "", nullptr, &errors), 1);
    EXPECT_EQ(errors, "avoipgw: --room must be names of rooms, and there is no room \"attic\"\n");
    EXPECT_NE(ask("GET", tokens).body.find(R"({"name":"t","role":"operator","rooms":["hall"]})"),
              std::string::npos);
}

TEST_F(GatewayAccounts, wait_after_five_wrong_passwords) {
    addUser("anna", "admin");
    start();
    for (int each = 0; each < 5; ++each) {
        EXPECT_EQ(logIn("anna", "wrong").status, 401);
    }
    const bed::HttpAnswer refused = logIn("anna", "anna-word");
    EXPECT_EQ(refused.status, 429);
    EXPECT_GE(std::stoi(refused.headers.at("retry-after")), 1);
}

TEST_F(GatewayAccounts, may_do_what_their_role_says) {
    addUser("anna", "admin");
    const std::string viewer = addToken("v", "viewer");
    const std::string chief = addToken("a", "admin");
    const std::string worker = addToken("o", "operator");
    start();
    EXPECT_EQ(ask("GET", kApi + "/presets", "", {viewer}).status, 200);
    EXPECT_EQ(ask("PUT", kApi + "/locks/rx1", "{}", {viewer}).status, 403);
    EXPECT_EQ(ask("PUT", kApi + "/locks/rx1", "{}", {worker}).status, 404);
    EXPECT_EQ(ask("PUT", kApi + "/rooms/a", "{}", {worker}).status, 403);
    EXPECT_EQ(ask("PUT", kApi + "/rooms/a", "{}", {chief}).status, 201);
    EXPECT_EQ(ask("GET", kApi + "/users", "", {worker}).status, 403);
    EXPECT_EQ(ask("DELETE", kApi + "/users/anna", "", {chief}).status, 409);
    EXPECT_EQ(ask("PATCH", kApi + "/users/anna", R"({"role":"viewer"})", {chief}).status, 409);
    const bed::HttpAnswer made =
        ask("POST", kApi + "/users", R"({"name":"eva","role":"admin","password":"p"})", {chief});
    EXPECT_EQ(made.status, 201);
    EXPECT_EQ(made.body, R"({"name":"eva","role":"admin"})");
    EXPECT_EQ(ask("DELETE", kApi + "/users/anna", "", {chief}).status, 204);
    const bed::HttpAnswer token =
        ask("POST", kApi + "/tokens", R"({"name":"t","role":"viewer"})", {chief});
    EXPECT_EQ(token.status, 201);
    const std::string fresh = "Authorization: Bearer " + member(token, "token");
    EXPECT_EQ(ask("GET", kApi + "/system", "", {fresh}).status, 200);
    EXPECT_EQ(ask("DELETE", kApi + "/tokens/t", "", {chief}).status, 204);
    EXPECT_EQ(ask("GET", kApi + "/system", "", {fresh}).status, 401);
}

TEST_F(GatewayAccounts, are_needed_before_it_listens_beyond_the_machine) {
    configure("[http]\nlisten = [\"0.0.0.0:8088\"]\n");
    std::string errors;
    EXPECT_EQ(run({}, "", nullptr, &errors), 1);
    EXPECT_NE(errors.find("avoipgw user add NAME --role admin"), std::string::npos) << errors;
}

TEST_F(GatewayAccounts, are_not_needed_for_reading_where_it_is_open) {
    addUser("anna", "admin");
    configure("[http]\nopen = true\n");
    start();
    EXPECT_EQ(ask("GET", kApi + "/system").status, 200);
    EXPECT_EQ(ask("GET", kApi + "/users").status, 401);
    EXPECT_EQ(ask("PUT", kApi + "/rooms/a", "{}").status, 401);
}

struct Mistake {
    std::string name;
    std::string lines;
    std::string what;
};

class GatewayConfiguration : public GatewayBed, public testing::WithParamInterface<Mistake> {};

TEST_P(GatewayConfiguration, with_a_mistake_is_refused_with_its_place) {
    configure(GetParam().lines);
    std::string errors;
    EXPECT_EQ(run({"--check"}, "", nullptr, &errors), 2);
    EXPECT_EQ(errors, "avoipgw: " + folder + "/gateway.toml:" + GetParam().what + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    Table, GatewayConfiguration,
    testing::Values(Mistake{"unknown_key", "[poll]\nevery_s = 1\n",
                            "3:1: unknown key poll.every_s"},
                    Mistake{"unknown_table", "[poll2]\nevery_s = 1\n", "2:2: unknown key poll2"},
                    Mistake{"wrong_type", "[poll]\ndevices_s = \"1\"\n",
                            "3:13: poll.devices_s must be a whole number from 1 to 86400"},
                    Mistake{"half_of_tls", "[http]\ntls_key = \"k\"\n",
                            "3:11: http.tls_key needs http.tls_certificate beside it"},
                    Mistake{"site", "site = \"A\"\n",
                            "2:8: site must be 1 to 32 of the characters a-z, 0-9 and \"-\""}),
    [](const auto& each) { return each.param.name; });

TEST_F(GatewayAccounts, of_a_configuration_that_is_not_there_are_none) {
    bed::DaemonOptions chosen = options();
    chosen.arguments = {"--config", folder + "/none.toml", "--check"};
    bed::Daemon program(chosen);
    EXPECT_EQ(program.awaitExit(), (bed::Exit{false, 2}));
}

TEST_F(GatewayAccounts, of_a_configuration_that_is_a_folder_are_none) {
    bed::DaemonOptions chosen = options();
    chosen.arguments = {"--config", folder, "--check"};
    bed::Daemon program(chosen);
    EXPECT_EQ(program.awaitExit(), (bed::Exit{false, 2}));
    EXPECT_EQ(program.errors().all(),
              "avoipgw: " + folder + ": this is a folder, and has to be a file\n");
}

TEST_F(GatewayAccounts, a_taken_port_ends_it) {
    start();
    std::ofstream(folder + "/gateway.toml") << "data = \"" << folder << "/other\"\n";
    std::string errors;
    EXPECT_EQ(run({}, "", nullptr, &errors), 1);
    EXPECT_NE(errors.find("127.0.0.1:8088"), std::string::npos) << errors;
}

TEST_F(GatewayAccounts, a_data_folder_that_another_gateway_uses_ends_it) {
    start();
    configure("[http]\nlisten = [\"127.0.0.1:8089\"]\n");
    std::string errors;
    EXPECT_EQ(run({}, "", nullptr, &errors), 1);
    EXPECT_EQ(errors, "avoipgw: " + folder + "/data: another avoipgw uses this data folder\n");
    EXPECT_EQ(run({"user", "add", "anna", "--role", "admin", "--password-stdin"}, "a\n"), 0);
    EXPECT_EQ(run({"token", "add", "t", "--role", "viewer"}), 0);
    gateway->stop(SIGKILL);
    start();
}

TEST_F(GatewayAccounts, a_data_path_that_the_console_cannot_carry_ends_it) {
    std::ofstream(folder + "/gateway.toml") << "data = \"" << folder << "/a!b\"\n";
    EXPECT_EQ(run({}), 1);
}

}  // namespace
