-- The design of dut.v, with a clock of its own.
library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity part is
  port (clk : in std_logic; down : out unsigned(0 to 3));
end;
architecture rtl of part is
  signal count : unsigned(0 to 3) := "1111";
begin
  down <= count;
  count <= count - 1 when rising_edge(clk);
end;

library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity dut is
end;
architecture rtl of dut is
  signal clk  : std_logic := '0';
  signal up   : unsigned(3 downto 0) := "0000";
  signal down : unsigned(0 to 3) := "1111";
  signal wide : std_logic_vector(99 downto 0) := (0 => '1', others => '0');
begin
  process begin
    for i in 1 to 8 loop
      wait for 5 ns;
      clk <= not clk;
    end loop;
    wait for 5 ns;
    wait;
  end process;
  u_part : entity work.part port map (clk, down);
  up <= up + 1 when rising_edge(clk);
  wide <= wide(96 downto 0) & wide(99 downto 97) when rising_edge(clk);
end;
