// Shows the programs of a command the units of an iSCSI target, without an initiator in the kernel:
//
//   TQ_SCSI_SOCKET=socket ./initiator iscsi://HOST/TARGET/LUN COMMAND
//
// The LUN is that of unit 0; those of the other units follow. The login sends no TEST UNIT READY,
// so the programs see all unit attentions.
#include <iscsi/iscsi.h>
#include <iscsi/scsi-lowlevel.h>

#include <iostream>
#include <memory>
#include <mutex>

#include "Server.h"

namespace {

class Session {
public:
  explicit Session(const char* text)
      : m_context(iscsi_create_context("iqn.2001-04.com.example:host"), iscsi_destroy_context) {
    const std::unique_ptr<iscsi_url, decltype(&iscsi_destroy_url)> url(
        iscsi_parse_full_url(m_context.get(), text), iscsi_destroy_url);
    if (url == nullptr) fail();
    m_firstLun = static_cast<unsigned>(url->lun);
    iscsi_set_targetname(m_context.get(), url->target);
    iscsi_set_session_type(m_context.get(), ISCSI_SESSION_NORMAL);
    if (iscsi_connect_sync(m_context.get(), url->portal) != 0) fail();
    if (iscsi_login_sync(m_context.get()) != 0) fail();
  }

  devices::Message execute(devices::Message command) {
    const std::lock_guard guard(m_lock);
    const bool isWrite = !command.data.empty();
    // The program did not say how much it reads: at most a block of the longest kind.
    std::vector<unsigned char>& data = command.data;
    if (!isWrite) data.resize(8U << 20U);
    const auto size = static_cast<int>(data.size());
    const std::unique_ptr<scsi_task, decltype(&scsi_free_scsi_task)> task(
        scsi_create_task(static_cast<int>(command.block.size()), command.block.data(),
                         isWrite ? SCSI_XFER_WRITE : SCSI_XFER_READ, size),
        scsi_free_scsi_task);
    const auto add = isWrite ? scsi_task_add_data_out_buffer : scsi_task_add_data_in_buffer;
    if (add(task.get(), size, data.data()) != 0) fail();
    const auto lun = static_cast<int>(m_firstLun + command.number);
    if (iscsi_scsi_command_sync(m_context.get(), lun, task.get(), nullptr) == nullptr) fail();
    if (task->status > 0xFF) fail();  // the connection's failure, not the unit's
    const bool isShort = task->residual_status == SCSI_RESIDUAL_UNDERFLOW;
    data.resize(isWrite ? 0 : data.size() - (isShort ? task->residual : 0));
    std::vector<unsigned char> sense;  // behind its length
    if (task->status == SCSI_STATUS_CHECK_CONDITION && task->datain.size > 2) {
      sense.assign(task->datain.data + 2, task->datain.data + task->datain.size);
    }
    return {static_cast<unsigned>(task->status), std::move(sense), std::move(data)};
  }

private:
  [[noreturn]] void fail() { throw std::runtime_error(iscsi_get_error(m_context.get())); }

  std::mutex m_lock;
  std::unique_ptr<iscsi_context, decltype(&iscsi_destroy_context)> m_context;
  unsigned m_firstLun = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: TQ_SCSI_SOCKET=SOCKET initiator URL COMMAND\n";
    return 2;
  }
  try {
    Session session(argv[1]);
    devices::serveWhile(
        argv[2], [&](devices::Message command) { return session.execute(std::move(command)); });
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
}
