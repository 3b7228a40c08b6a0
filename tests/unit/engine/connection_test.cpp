#include "engine/connection.h"

#include "support/numbered_messages.h"
#include "support/product_test.h"

#include <optional>

namespace {

using namespace testing_support;

constexpr DWORD kInProcess = 1;
constexpr DWORD kLocalServer = 4;
constexpr DWORD kRemoteServer = 16;

constexpr auto kNotRegistered = static_cast<HRESULT>(0x80040154);
constexpr auto kDenied = static_cast<HRESULT>(0x80070005);
constexpr auto kNoServer = static_cast<HRESULT>(0x800706BA);
constexpr auto kNullPointer = static_cast<HRESULT>(0x80004003);

// Activates the agent's class as the connection does, but with the name and context of the test.
class ActivatingAServer : public EngineTest {
protected:
    HRESULT Activate(const wchar_t* server, DWORD context)
    {
        std::wstring name = server;
        COSERVERINFO info{};
        info.pwszName = name.data();
        return ActivateOn(&info, context);
    }
    HRESULT ActivateOn(COSERVERINFO* info, DWORD context)
    {
        MULTI_QI request{&__uuidof(IVLAgent), nullptr, S_OK};
        const HRESULT result = ActivateServer(AgentClass(), nullptr, context, info, 1, &request);
        activated.Attach(static_cast<IVLAgent*>(request.pItf));
        return result;
    }

    void TearDown() override
    {
        activated.Reset();
        EngineTest::TearDown();
    }

    [[nodiscard]] static Activation Local(DWORD context)
    {
        return {false, AgentClass(), __uuidof(IVLAgent), context, L""};
    }
    [[nodiscard]] static Activation Remote(DWORD context, const wchar_t* server)
    {
        return {true, AgentClass(), __uuidof(IVLAgent), context, server};
    }

    win::ComPtr<IVLAgent> activated;
};

TEST_F(ActivatingAServer, IsLocalForTheComputersOwnNameInAnyLetterCase)
{
    for (const wchar_t* const name : {L"THISPC", L"thispc", L"ThisPc"}) {
        EXPECT_EQ(S_OK, Activate(name, kRemoteServer));
        EXPECT_TRUE(activated);
    }
    EXPECT_EQ(std::vector<Activation>(3, Local(kLocalServer)), engine.Activations());
}

TEST_F(ActivatingAServer, IsRemoteForEveryOtherName)
{
    for (const wchar_t* const name : {L"SRV1", L"\\\\THISPC", L"THISPC.example.com", L"THISP", L"THISPC2", L""}) {
        EXPECT_EQ(S_OK, Activate(name, kRemoteServer));
        EXPECT_TRUE(activated);
    }
    EXPECT_EQ((std::vector<Activation>{Remote(kRemoteServer, L"SRV1"), Remote(kRemoteServer, L"\\\\THISPC"),
                                       Remote(kRemoteServer, L"THISPC.example.com"), Remote(kRemoteServer, L"THISP"),
                                       Remote(kRemoteServer, L"THISPC2"), Remote(kRemoteServer, L"")}),
              engine.Activations());
}

TEST_F(ActivatingAServer, LocallyReplacesTheRemoteServerBitAndKeepsAllOthers)
{
    for (const DWORD context :
         std::initializer_list<DWORD>{kRemoteServer, kRemoteServer | kInProcess, kRemoteServer | kLocalServer,
                                      kRemoteServer | 0x4000U, 0xFFFFFFFFU}) {
        EXPECT_EQ(S_OK, Activate(L"THISPC", context));
    }
    EXPECT_EQ((std::vector<Activation>{Local(4), Local(5), Local(4), Local(0x4004), Local(0xFFFFFFEF)}),
              engine.Activations());
}

TEST_F(ActivatingAServer, LocallyPassesAContextWithoutTheRemoteServerBitUnchanged)
{
    for (const DWORD context : std::initializer_list<DWORD>{0U, kInProcess, kLocalServer, 0x4000U}) {
        EXPECT_EQ(S_OK, Activate(L"THISPC", context));
    }
    EXPECT_EQ((std::vector<Activation>{Local(0), Local(1), Local(4), Local(0x4000)}), engine.Activations());
}

TEST_F(ActivatingAServer, RemotelyPassesAnyContextUnchanged)
{
    for (const DWORD context :
         std::initializer_list<DWORD>{0U, kInProcess, kRemoteServer | kLocalServer, 0xFFFFFFFFU}) {
        EXPECT_EQ(S_OK, Activate(L"SRV1", context));
    }
    EXPECT_EQ((std::vector<Activation>{Remote(0, L"SRV1"), Remote(1, L"SRV1"), Remote(20, L"SRV1"),
                                       Remote(0xFFFFFFFF, L"SRV1")}),
              engine.Activations());
}

TEST_F(ActivatingAServer, LocallyFillsTheOneRequestedInterface)
{
    auto* const outer = reinterpret_cast<IUnknown*>(&activated);
    std::wstring name = L"ThisPC";
    COSERVERINFO server{};
    server.pwszName = name.data();
    MULTI_QI request{&__uuidof(IVLRefresh), nullptr, S_OK};
    Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> create(
        [&](REFCLSID classId, IUnknown* givenOuter, DWORD context, REFIID interfaceId, void** object) {
            EXPECT_TRUE(ServiceClass() == classId);
            EXPECT_EQ(outer, givenOuter);
            EXPECT_EQ(kLocalServer, context);
            EXPECT_EQ(&__uuidof(IVLRefresh), &interfaceId);
            EXPECT_EQ(static_cast<void*>(&request.pItf), static_cast<void*>(object));
            return CLASS_E_NOAGGREGATION;
        });
    EXPECT_EQ(CLASS_E_NOAGGREGATION, ActivateServer(ServiceClass(), outer, kRemoteServer, &server, 1, &request));
    EXPECT_EQ(1, create.Calls());
    EXPECT_EQ((std::vector<Activation>{}), engine.Activations());
}

TEST_F(ActivatingAServer, RemotelyHandsOnTheVeryArguments)
{
    auto* const outer = reinterpret_cast<IUnknown*>(&activated);
    std::wstring name = L"SRV1";
    COSERVERINFO server{};
    server.pwszName = name.data();
    MULTI_QI request{&__uuidof(IVLService), nullptr, S_OK};
    Replaced<"CoCreateInstanceEx", decltype(::CoCreateInstanceEx)> create([&](REFCLSID classId, IUnknown* givenOuter,
                                                                              DWORD context, COSERVERINFO* givenServer,
                                                                              DWORD count, MULTI_QI* results) {
        EXPECT_TRUE(ServiceClass() == classId);
        EXPECT_EQ(outer, givenOuter);
        EXPECT_EQ(0x15U, context);
        EXPECT_EQ(&server, givenServer);
        EXPECT_EQ(1U, count);
        EXPECT_EQ(&request, results);
        return kNoServer;
    });
    EXPECT_EQ(kNoServer, ActivateServer(ServiceClass(), outer, 0x15, &server, 1, &request));
    EXPECT_EQ(1, create.Calls());
    EXPECT_EQ((std::vector<Activation>{}), engine.Activations());
}

TEST_F(ActivatingAServer, AnswersWhatTheActivationAnswers)
{
    for (const HRESULT answer : {kNotRegistered, kDenied, kNoServer, E_OUTOFMEMORY}) {
        engine.activation = answer;
        EXPECT_EQ(answer, Activate(L"THISPC", kRemoteServer));
        EXPECT_FALSE(activated);
        EXPECT_EQ(answer, Activate(L"SRV1", kRemoteServer));
        EXPECT_FALSE(activated);
    }
}

TEST_F(ActivatingAServer, PrintsNothing)
{
    engine.activation = kDenied;
    EXPECT_EQ(kDenied, Activate(L"SRV1", kRemoteServer));
    EXPECT_EQ(kDenied, Activate(L"THISPC", kRemoteServer));
    EXPECT_EQ(L"", output.Text());
}

TEST_F(ActivatingAServer, IsRemoteForANameWhereTheComputersOwnIsNotKnown)
{
    Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> nameless([](wchar_t*, DWORD*) { return FALSE; });
    EXPECT_EQ(S_OK, Activate(L"THISPC", kRemoteServer));
    EXPECT_EQ((std::vector<Activation>{Remote(kRemoteServer, L"THISPC")}), engine.Activations());
    EXPECT_EQ(1, nameless.Calls());
}

TEST_F(ActivatingAServer, TakesAMissingServerNameForAnEmptyOne)
{
    Replaced<"CoCreateInstanceEx", decltype(::CoCreateInstanceEx)> create(
        [](REFCLSID, IUnknown*, DWORD context, COSERVERINFO* server, DWORD, MULTI_QI*) {
            EXPECT_EQ(kRemoteServer, context);
            EXPECT_TRUE(server == nullptr || server->pwszName == nullptr);
            return E_INVALIDARG;
        });
    COSERVERINFO nameless{};
    EXPECT_EQ(E_INVALIDARG, ActivateOn(nullptr, kRemoteServer));
    EXPECT_EQ(E_INVALIDARG, ActivateOn(&nameless, kRemoteServer));
    EXPECT_EQ(2, create.Calls());
}

// One way of connecting: which function, which class, which interface.
template <auto& Function, typename Asked, const CLSID& (*Class)() noexcept>
struct Connection {
    using Interface = Asked;
    static HRESULT Connect(const std::wstring& computer, win::ComPtr<Asked>* connected)
    {
        return Function(computer, connected);
    }
    static const CLSID& ServerClass() { return Class(); }
};

using Connections = ::testing::Types<Connection<ConnectToAgent, IVLAgent, &AgentClass>,
                                     Connection<ConnectToService, IVLService, &ServiceClass>,
                                     Connection<ConnectToRefresh, IVLRefresh, &ServiceClass>>;

template <typename Way>
class Connecting : public EngineTest {
protected:
    using Interface = typename Way::Interface;

    HRESULT Connect(const std::wstring& computer) { return Way::Connect(computer, &connected); }

    [[nodiscard]] static Activation Local()
    {
        return {false, Way::ServerClass(), __uuidof(Interface), kLocalServer, L""};
    }
    [[nodiscard]] static Activation Remote(const wchar_t* server)
    {
        return {true, Way::ServerClass(), __uuidof(Interface), kRemoteServer, server};
    }

    void TearDown() override
    {
        connected.Reset();
        EngineTest::TearDown();
    }

    win::ComPtr<Interface> connected;
};

TYPED_TEST_SUITE(Connecting, Connections);

TYPED_TEST(Connecting, IsLocalWithoutAComputerName)
{
    EXPECT_EQ(S_OK, this->Connect(L""));
    EXPECT_TRUE(this->connected);
    EXPECT_EQ((std::vector<Activation>{this->Local()}), this->engine.Activations());
    EXPECT_EQ(L"", this->output.Text());
}

TYPED_TEST(Connecting, IsRemoteForAnotherComputer)
{
    EXPECT_EQ(S_OK, this->Connect(L"SRV1"));
    EXPECT_TRUE(this->connected);
    EXPECT_EQ(S_OK, this->Connect(L"\\\\SRV2"));
    EXPECT_TRUE(this->connected);
    EXPECT_EQ((std::vector<Activation>{this->Remote(L"SRV1"), this->Remote(L"\\\\SRV2")}), this->engine.Activations());
    EXPECT_EQ(L"", this->output.Text());
}

TYPED_TEST(Connecting, DescribesTheServerByItsNameAlone)
{
    Replaced<"CoCreateInstanceEx", decltype(::CoCreateInstanceEx)> create(
        [](REFCLSID classId, IUnknown* outer, DWORD context, COSERVERINFO* server, DWORD count, MULTI_QI* results) {
            EXPECT_TRUE(TypeParam::ServerClass() == classId);
            EXPECT_EQ(nullptr, outer);
            EXPECT_EQ(kRemoteServer, context);
            EXPECT_STREQ(L"SRV1", server->pwszName);
            EXPECT_EQ(nullptr, server->pAuthInfo);
            EXPECT_EQ(0U, server->dwReserved1);
            EXPECT_EQ(0U, server->dwReserved2);
            EXPECT_EQ(1U, count);
            EXPECT_TRUE(__uuidof(typename TypeParam::Interface) == *results->pIID);
            EXPECT_EQ(nullptr, results->pItf);
            return kNoServer;
        });
    EXPECT_EQ(kNoServer, this->Connect(L"SRV1"));
    EXPECT_EQ(1, create.Calls());
}

TYPED_TEST(Connecting, LocallyHasNoOuterObject)
{
    Replaced<"CoCreateInstance", decltype(::CoCreateInstance)> create(
        [](REFCLSID classId, IUnknown* outer, DWORD context, REFIID interfaceId, void**) {
            EXPECT_TRUE(TypeParam::ServerClass() == classId);
            EXPECT_EQ(nullptr, outer);
            EXPECT_EQ(kLocalServer, context);
            EXPECT_TRUE(__uuidof(typename TypeParam::Interface) == interfaceId);
            return kNotRegistered;
        });
    EXPECT_EQ(kNotRegistered, this->Connect(L""));
    EXPECT_EQ(1, create.Calls());
}

TYPED_TEST(Connecting, LeavesTheProxysSecurityAsItIs)
{
    std::optional<Replaced<"CoSetProxyBlanket", decltype(::CoSetProxyBlanket)>> blanket;
    if (IsImported("CoSetProxyBlanket")) {
        blanket.emplace([](IUnknown*, DWORD, DWORD, OLECHAR*, DWORD, DWORD, RPC_AUTH_IDENTITY_HANDLE, DWORD) {
            ADD_FAILURE() << "the connection has its security set";
            return S_OK;
        });
    }
    EXPECT_EQ(S_OK, this->Connect(L""));
    EXPECT_EQ(S_OK, this->Connect(L"SRV1"));
}

TYPED_TEST(Connecting, GivesTheCallerTheOnlyReference)
{
    for (const wchar_t* const name : {L"", L"SRV1"}) {
        ASSERT_EQ(S_OK, this->Connect(name));
        EXPECT_EQ(1, this->engine.LiveObjects());
        EXPECT_EQ(2U, this->connected->AddRef());
        EXPECT_EQ(1U, this->connected->Release());
        this->connected.Reset();
        EXPECT_EQ(0, this->engine.LiveObjects());
    }
}

TYPED_TEST(Connecting, ReleasesWhatTheCallersPointerHeld)
{
    ASSERT_EQ(S_OK, this->Connect(L""));
    ASSERT_EQ(S_OK, this->Connect(L"SRV1"));
    EXPECT_EQ(1, this->engine.LiveObjects());
}

TYPED_TEST(Connecting, IsZeroForEverySuccessOfTheActivation)
{
    Replaced<"CoCreateInstanceEx", decltype(::CoCreateInstanceEx)> create(
        [&](REFCLSID classId, IUnknown* outer, DWORD context, COSERVERINFO* server, DWORD count, MULTI_QI* results) {
            EXPECT_EQ(S_OK, create.Original(classId, outer, context, server, count, results));
            return S_FALSE;
        });
    EXPECT_EQ(S_OK, this->Connect(L"SRV1"));
    EXPECT_TRUE(this->connected);
    EXPECT_EQ(1, create.Calls());
}

TYPED_TEST(Connecting, WithoutAPlaceForTheResultActivatesNothing)
{
    for (const wchar_t* const name : {L"", L"SRV1"}) {
        EXPECT_EQ(kNullPointer, TypeParam::Connect(name, nullptr));
    }
    EXPECT_EQ((std::vector<Activation>{}), this->engine.Activations());
    EXPECT_EQ(L"", this->output.Text());
}

TYPED_TEST(Connecting, FailsWhereASuccessHandsOutNoInterface)
{
    this->engine.activatesNothing = true;
    EXPECT_EQ(kNullPointer, this->Connect(L""));
    EXPECT_EQ(kNullPointer, this->Connect(L"SRV1"));
    EXPECT_FALSE(this->connected);
    EXPECT_EQ(L"Could not connect to computer ''.  Verify the name is correct and the machine is turned on.\n"
              L"Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is turned on.\n",
              this->output.Text());
}

TYPED_TEST(Connecting, ReportsAFailureWithTheNameAsItWasTyped)
{
    this->engine.activation = kNotRegistered;
    for (const wchar_t* const name : {L"", L"ThisPc", L"Srv1", L"\\\\SRV2"}) {
        EXPECT_EQ(kNotRegistered, this->Connect(name));
        EXPECT_FALSE(this->connected);
    }
    EXPECT_EQ(L"Velundra is not installed on computer ''\n"
              L"Velundra is not installed on computer 'ThisPc'\n"
              L"Velundra is not installed on computer 'Srv1'\n"
              L"Velundra is not installed on computer '\\\\SRV2'\n",
              this->output.Text());
}

TYPED_TEST(Connecting, ReturnsTheFailureUnchanged)
{
    for (const HRESULT failure : {kNotRegistered, kDenied, kNoServer, E_FAIL, E_NOINTERFACE}) {
        this->engine.activation = failure;
        EXPECT_EQ(failure, this->Connect(L""));
        EXPECT_EQ(failure, this->Connect(L"SRV1"));
    }
}

TYPED_TEST(Connecting, IsLocalWithoutANameEvenWhereTheComputersOwnIsNotKnown)
{
    Replaced<"GetComputerNameW", decltype(::GetComputerNameW)> nameless([](wchar_t*, DWORD*) { return FALSE; });
    EXPECT_EQ(S_OK, this->Connect(L""));
    EXPECT_EQ((std::vector<Activation>{this->Local()}), this->engine.Activations());
}

class ReportingAConnectFailure : public ProductTest {};

TEST_F(ReportingAConnectFailure, ChoosesTheMessageByTheHresult)
{
    const struct {
        HRESULT failure;
        const wchar_t* line;
    } rows[] = {
        {kNotRegistered, L"(-2489-)Velundra is not installed on computer 'SRV1'\n"},
        {kDenied, L"(-3584-)You do not have permission to connect to Velundra on computer 'SRV1'.  You must be a "
                  L"member of the Local Admin group.\n"},
        {kNoServer, L"(-1042-)Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is "
                    L"turned on.\n"},
    };
    const NumberedMessages numbered;
    for (const auto& row : rows) {
        EXPECT_EQ(row.failure, ReportConnectFailure(L"SRV1", row.failure));
        EXPECT_EQ(row.line, output.Take());
    }
}

TEST_F(ReportingAConnectFailure, TellsOnlyTwoHresultsFromAllOthers)
{
    for (const std::uint32_t failure : {0x80040153U, 0x80040155U, 0x80070004U, 0x80070006U, 0x80080005U, 0x800706BAU,
                                        0x800706BEU, 0x80004005U, 0x80004003U, 0x8007045BU, 0xC0000005U}) {
        EXPECT_EQ(static_cast<HRESULT>(failure), ReportConnectFailure(L"SRV1", static_cast<HRESULT>(failure)));
        EXPECT_EQ(L"Could not connect to computer 'SRV1'.  Verify the name is correct and the machine is turned on.\n",
                  output.Take())
            << std::hex << failure;
    }
}

TEST_F(ReportingAConnectFailure, KeepsTheQuotationMarksOfAnEmptyName)
{
    EXPECT_EQ(kNotRegistered, ReportConnectFailure(L"", kNotRegistered));
    EXPECT_EQ(kDenied, ReportConnectFailure(L"", kDenied));
    EXPECT_EQ(E_FAIL, ReportConnectFailure(L"", E_FAIL));
    EXPECT_EQ(L"Velundra is not installed on computer ''\n"
              L"You do not have permission to connect to Velundra on computer ''.  You must be a member of the Local "
              L"Admin group.\n"
              L"Could not connect to computer ''.  Verify the name is correct and the machine is turned on.\n",
              output.Text());
}

// A test that talks to an agent it is connected to.
class AskingTheAgent : public EngineTest {
protected:
    void SetUp() override { ASSERT_EQ(S_OK, ConnectToAgent(L"", &agent)); }
    void TearDown() override
    {
        agent.Reset();
        EngineTest::TearDown();
    }

    win::ComPtr<IVLAgent> agent;
};

TEST_F(AskingTheAgent, ForAccessIsSilentWhenItIsGranted)
{
    EXPECT_EQ(0U, CheckAccess(*agent));
    EXPECT_EQ((EngineCalls{L"agent.CheckAccess()"}), engine.Calls());
    EXPECT_EQ(L"", output.Text());
}

TEST_F(AskingTheAgent, ForAccessTakesEverySuccessForGranted)
{
    engine.Fail(L"CheckAccess", {.result = S_FALSE});
    EXPECT_EQ(0U, CheckAccess(*agent));
    EXPECT_EQ(L"", output.Text());
}

TEST_F(AskingTheAgent, ForAccessReportsARefusalAndHandsItOut)
{
    const NumberedMessages numbered;
    for (const HRESULT denied : {E_ACCESSDENIED, E_FAIL, kNoServer, static_cast<HRESULT>(0x80040000)}) {
        engine.Fail(L"CheckAccess", {.result = denied});
        HRESULT refusal = S_OK;
        EXPECT_EQ(0x20000004U, CheckAccess(*agent, &refusal));
        EXPECT_EQ(denied, refusal);
        EXPECT_EQ(L"(-3244-)Unable to connect to specified computer, error access denied.\n", output.Take());
        EXPECT_EQ(0x20000004U, CheckAccess(*agent));
        EXPECT_EQ(L"(-3244-)Unable to connect to specified computer, error access denied.\n", output.Take());
    }
}

TEST_F(AskingTheAgent, ForADriveHandsOverTheWholeName)
{
    engine.AddDrive(L"C:\\");
    engine.AddDrive(L"D:\\Mounts\\Data\\");
    win::ComPtr<IVLDrive> drive;
    EXPECT_EQ(S_OK, GetDrive(*agent, L"\\\\?\\Volume{C}\\", drive));
    ASSERT_TRUE(drive);
    // A view's end need not be a NUL.
    EXPECT_EQ(S_OK, GetDrive(*agent, std::wstring_view(L"D:\\Mounts\\Data\\|E:\\").substr(0, 15), drive));
    win::Bstr name;
    EXPECT_EQ(S_OK, drive->GetDriveName(name.Put()));
    EXPECT_EQ(L"D:\\Mounts\\Data\\", name.View());
    EXPECT_EQ((EngineCalls{L"agent.GetDrive(\\\\?\\Volume{C}\\)", L"agent.GetDrive(D:\\Mounts\\Data\\)",
                           L"drive.GetDriveName(D:\\Mounts\\Data\\)"}),
              engine.Calls());
}

TEST_F(AskingTheAgent, ForADriveHoldsOneReference)
{
    engine.AddDrive(L"C:\\");
    win::ComPtr<IVLDrive> drive;
    ASSERT_EQ(S_OK, GetDrive(*agent, L"C:\\", drive));
    EXPECT_EQ(2U, drive->AddRef());
    EXPECT_EQ(1U, drive->Release());
    ASSERT_EQ(S_OK, GetDrive(*agent, L"C:\\", drive));
    EXPECT_EQ(2, engine.LiveObjects()); // the agent and the second drive
}

TEST_F(AskingTheAgent, ForADriveReturnsTheFailureUnchanged)
{
    engine.AddDrive(L"C:\\");
    win::ComPtr<IVLDrive> drive;
    for (const HRESULT failure : {E_FAIL, kDenied, static_cast<HRESULT>(0x80041234)}) {
        engine.Fail(L"GetDrive", {.result = failure});
        EXPECT_EQ(failure, GetDrive(*agent, L"C:\\", drive));
        EXPECT_FALSE(drive);
    }
    EXPECT_EQ(L"", output.Text());
}

TEST_F(AskingTheAgent, ForADriveFailsWhereASuccessHandsOutNone)
{
    engine.AddDrive(L"C:\\");
    engine.HandOutNull(L"GetDrive");
    win::ComPtr<IVLDrive> drive;
    EXPECT_EQ(kNullPointer, GetDrive(*agent, L"C:\\", drive));
    EXPECT_FALSE(drive);
}

} // namespace
