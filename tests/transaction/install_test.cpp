#include <functional>

#include "tests/transaction/transaction_test.h"

namespace support {
namespace {

const std::string kReplaced = "data/things.dat";  // the first of the plan
const std::string kNew = "layouts/deep/new.ui";   // the second
const std::wstring kIrregular = L"Destino de download existente nao e um arquivo regular.";

Files release_two() {
    Files files = minimal_client();
    files[kReplaced] = "things 2";
    files[kNew] = "new 2";
    return files;
}

struct Install : Transaction {
    Install() : Transaction(minimal_client(), release_two()) {}
    void make_folder_at(const std::wstring& path) {
        world.disk.erase(path);
        world.disk.make_folder(path);
    }
};

TEST(Install, every_file_is_new_and_nothing_of_the_transaction_is_left) {
    Install install;
    EXPECT_EQ(install.install_it(), L"");
    EXPECT_EQ(install.client_files(), release_two());
    EXPECT_EQ(install.store(), std::vector<std::wstring>{});
    EXPECT_EQ(install.world.disk.open_handles() + install.world.processes.open_handles(), 0U);
}

TEST(Install, the_intent_is_durable_before_the_first_client_file_changes) {  // (1)
    Install install;
    bool looked = false;
    at_call(install.world, "ReplaceFileW", L"things.dat", winsim::Moment::before, [&] {
        looked = true;
        winsim::Disk after_cut;
        after_cut.restore(install.world.disk.snapshot_after(install.world.disk.all_lost()));
        EXPECT_EQ(after_cut.read(install.active_record()), install.record);
        EXPECT_EQ(after_cut.read(install.target(kReplaced)), "things 1");
    });
    EXPECT_EQ(install.install_it(), L"");
    EXPECT_TRUE(looked);
}

TEST(Install, each_change_of_a_file_is_durable_when_its_call_returns) {  // (2)
    const struct {
        const char* call;
        std::string file;
        const char* content;
    } rows[] = {{"ReplaceFileW", kReplaced, "things 2"}, {"MoveFileExW", kNew, "new 2"}};
    for (const auto& row : rows) {
        Install install;
        winsim::Disk left;
        at_call(install.world, row.call, wide(row.file), winsim::Moment::after,
                [&] { left.restore(install.world.disk.snapshot_after(install.world.disk.all_lost())); });
        EXPECT_EQ(install.install_it(), L"");
        EXPECT_EQ(left.read(install.target(row.file)), row.content) << row.call;
    }
}

TEST(Install, it_hears_no_command_and_writes_no_status) {
    Install install;
    install.say("cancel");
    install.world.gate.keep_trace(true);
    EXPECT_EQ(install.install_it(), L"");
    for (const std::string& line : install.world.gate.trace()) EXPECT_EQ(line.find(".json"), std::string::npos) << line;
}

struct Check {
    const char* slot;  // faults of one slot exclude each other
    std::wstring message;
    std::function<void(Install&)> spoil;
};

TEST(Install, of_two_faults_the_earlier_check_stops_it_before_anything_changes) {
    const std::wstring staged_differs = L"Arquivo preparado nao confere antes da instalacao.";
    const std::wstring changed = L"Cliente mudou durante o download; nenhuma alteracao aplicada.";
    const std::vector<Check> checks{
        {"job", L"Identificador de transacao invalido.", [](Install& it) { it.plan.job_id = L"..\\x"; }},
        {"client", L"Outro cliente desta pasta esta aberto. Feche-o e tente novamente.",
         [](Install& it) { it.world.processes.start(L"C:\\Game\\BRINDLER_gl_x64.exe"); }},
        {"target 1", L"Destino de download escapa da pasta permitida ou contem redirecionamento.",
         [](Install& it) {
             it.world.disk.put(L"C:\\Real\\things.dat", "things 1");
             it.world.disk.erase(L"C:\\Game\\data");
             it.world.disk.make_junction(L"C:\\Game\\data", L"C:\\Real");
         }},
        {"target 1", kIrregular, [](Install& it) { it.make_folder_at(it.target(kReplaced)); }},
        {"staged 1", kIrregular, [](Install& it) { it.make_folder_at(it.staged(kReplaced)); }},
        {"staged 1", staged_differs, [](Install& it) { it.world.disk.put(it.staged(kReplaced), "things 3"); }},
        {"target 1", changed, [](Install& it) { it.world.disk.put(it.target(kReplaced), "Things 1"); }},
        {"target 2", kIrregular, [](Install& it) { it.make_folder_at(it.target(kNew)); }},
        {"staged 2", staged_differs, [](Install& it) { it.world.disk.erase(it.staged(kNew)); }},
        {"target 2", changed, [](Install& it) { it.world.disk.put(it.target(kNew), "new 2"); }},
    };
    for (std::size_t i = 0; i < checks.size(); ++i) {
        for (std::size_t j = i; j < checks.size(); ++j) {
            if (j != i && std::string(checks[i].slot) == checks[j].slot) continue;
            Install install;
            checks[i].spoil(install);
            if (j != i) checks[j].spoil(install);
            const std::uint64_t before = install.world.disk.fingerprint(L"C:\\");
            EXPECT_EQ(install.install_it(), checks[i].message) << checks[j].slot;
            EXPECT_EQ(install.world.disk.fingerprint(L"C:\\"), before);
        }
    }
}

struct Broken {
    const char* name;
    std::function<void(Install&)> arrange;
    Words message;
    std::string replaced;  // what stands there afterwards
    std::string new_file;  // empty: nothing
};

TEST(Install, a_failure_behind_the_publication_leaves_what_the_roll_back_needs) {
    const std::wstring unproved = L"Verificacao final do arquivo instalado falhou.";
    const std::vector<Broken> cases{
        {"a folder that can't be made", [](Install& it) { it.faults.add("CreateDirectoryW", L"layouts"); },
         text(L"[create_directories]"), "things 2", ""},
        {"a backup folder that has become a junction",
         [](Install& it) { redirect(it.world, it.transaction_folder() + L"\\backup"); },
         text(L"Diretorio com redirecionamento recusado."), "things 1", ""},
        {"a target that turns into a folder behind the publication",
         [](Install& it) {
             at_call(it.world, "MoveFileExW", L"active.transaction", winsim::Moment::after,
                     [&it] { it.make_folder_at(it.target(kReplaced)); });
         },
         text(kIrregular), "", ""},
        {"a folder at the backup's place", [](Install& it) { it.make_folder_at(it.backup(kReplaced)); },
         text(kIrregular), "things 1", ""},
        {"a replacement that fails", [](Install& it) { it.faults.add("ReplaceFileW", L"things.dat"); },
         before(L"Substituir arquivo com backup"), "things 1", ""},
        {"a new file that can't be moved", [](Install& it) { it.faults.add("MoveFileExW", L"new.ui"); },
         before(L"Instalar arquivo novo"), "things 2", ""},
        {"a file that turns up at the new one's place",
         [](Install& it) {
             at_call(it.world, "ReplaceFileW", L"", winsim::Moment::after,
                     [&it] { it.world.disk.put(it.target(kNew), "mine"); });
         },
         after(L"Instalar arquivo novo", 2), "things 2", "mine"},
        {"a bit that flips behind the replacement",
         [](Install& it) {
             at_call(it.world, "ReplaceFileW", L"", winsim::Moment::after,
                     [&it] { it.world.disk.put(it.target(kReplaced), "things 3"); });
         },
         text(unproved), "things 3", "new 2"},
        {"a file that goes behind the replacement",
         [](Install& it) {
             at_call(it.world, "ReplaceFileW", L"", winsim::Moment::after,
                     [&it] { it.world.disk.erase(it.target(kReplaced)); });
         },
         text(unproved), "", "new 2"},
        {"a record that can't be deleted", [](Install& it) { it.faults.add("DeleteFileW", L"active.transaction"); },
         before(L"Remover arquivo gerenciado"), "things 2", "new 2"},
    };
    for (const Broken& broken : cases) {
        SCOPED_TRACE(broken.name);
        Install install;
        broken.arrange(install);
        const std::wstring message = install.install_it();
        EXPECT_EQ(message, broken.message(install.faults));
        EXPECT_EQ(message.find(std::to_wstring(kDistinct)), std::wstring::npos);
        EXPECT_EQ(install.world.disk.read(install.active_record()), install.record);
        Files files = install.client_files();
        EXPECT_EQ(files[kReplaced], broken.replaced);
        EXPECT_EQ(files[kNew], broken.new_file);
    }
}

TEST(Install, a_record_that_cannot_be_published_leaves_the_client_untouched) {
    Install install;
    install.faults.add("CreateFileW", L"active.transaction");
    EXPECT_EQ(install.install_it(), install.faults.text_after(L"Criar arquivo temporario"));
    EXPECT_FALSE(install.active());
    EXPECT_EQ(install.client_files(), minimal_client());
}

TEST(Install, a_folder_that_stays_behind_the_commit_does_not_undo_it) {
    Install install;
    install.faults.add("RemoveDirectoryW", kJob);
    EXPECT_EQ(install.install_it(), L"");
    EXPECT_TRUE(install.faults.happened());
    EXPECT_FALSE(install.active());
    EXPECT_EQ(install.client_files(), release_two());
}

TEST(Install, a_plan_without_files_publishes_its_record_and_withdraws_it) {
    Transaction empty(minimal_client(), minimal_client());
    empty.world.gate.keep_trace(true);
    EXPECT_EQ(empty.install_it(), L"");
    EXPECT_TRUE(std::ranges::any_of(empty.world.gate.trace(), [](const std::string& line) {
        return line.find("MoveFileExW") != std::string::npos && line.find("active.transaction") != std::string::npos;
    }));
    EXPECT_EQ(empty.store(), std::vector<std::wstring>{});
}

TEST(RemoveManagedFile, a_missing_file_is_no_failure_and_nothing_but_a_file_of_the_folder_is_touched) {
    Install install;
    const auto remove = [&](const std::wstring& path) {
        return refusal(install.world, [&] { vandrel::remove_managed_file(kRoot, path); });
    };
    EXPECT_EQ(remove(L"C:\\Game\\none"), L"");
    EXPECT_EQ(remove(L"C:\\Game\\data"), kIrregular);
    EXPECT_EQ(remove(L"C:\\Game\\..\\Users\\x"),
              L"Destino de download escapa da pasta permitida ou contem redirecionamento.");
    EXPECT_EQ(install.client_files(), minimal_client());
    EXPECT_EQ(remove(L"C:\\Game\\init.lua"), L"");
    EXPECT_FALSE(install.world.disk.exists(L"C:\\Game\\init.lua"));
}

TEST(Install, a_failure_at_the_twelfth_of_twenty_files_goes_back_newest_first) {
    Files old_files = minimal_client();
    Files new_files = minimal_client();
    for (char letter = 'a'; letter < 'a' + 20; ++letter) {
        old_files[std::string("data/") + letter] = "old";
        new_files[std::string("data/") + letter] = "new";
    }
    Transaction transaction(old_files, new_files);
    transaction.faults.add("ReplaceFileW", L"data\\l");
    transaction.faults.add("ReplaceFileW", L"data/l");
    EXPECT_TRUE(transaction.install_it().starts_with(L"Substituir arquivo com backup ("));
    EXPECT_EQ(transaction.client_files()["data/k"], "new");
    EXPECT_EQ(transaction.client_files()["data/l"], "old");
    std::string order;
    transaction.world.gate.add_watcher([&](const winsim::Call& call, winsim::Moment moment) {
        if (moment == winsim::Moment::after && call.name == "MoveFileExW")
            order += static_cast<char>(call.subject.back());
    });
    EXPECT_EQ(transaction.roll_back(), L"");
    EXPECT_EQ(order, "kjihgfedcba");
    EXPECT_EQ(transaction.client_files(), old_files);
}

}  // namespace
}  // namespace support
