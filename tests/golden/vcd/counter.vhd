-- A twin of examples/counter/counter.v, and a bench like that.
library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity lap is
  port (clk, wrap : in std_logic);
end;
architecture rtl of lap is
  signal laps : unsigned(15 downto 0) := (others => '0');
begin
  laps <= laps + 1 when rising_edge(clk) and wrap = '1';
end;

library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity counter is
  port (clk, clear : in std_logic; count : out unsigned(7 downto 0));
end;
architecture rtl of counter is
  signal value : unsigned(7 downto 0) := (others => '0');
  signal total : unsigned(71 downto 0) := (others => '0');
  signal wrap, enable : std_logic;
  signal high : unsigned(3 downto 0);
  signal ordinal : unsigned(8 downto 1);
begin
  wrap <= '1' when value = 255 else '0';
  enable <= not clear;
  high <= value(7 downto 4);
  ordinal <= value;
  count <= value;
  u_lap : entity work.lap port map (clk, wrap);
  process (clk) begin
    if rising_edge(clk) then
      if enable = '1' then
        value <= value + 1;
        total <= total + (value & (55 downto 0 => '0'));
      else
        value <= (others => '0');
      end if;
    end if;
  end process;
end;

library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity tb is
end;
architecture bench of tb is
  signal clk : std_logic := '0';
  signal clear : std_logic := '1';
  signal count : unsigned(7 downto 0);
begin
  clk <= not clk after 5 ns;
  clear <= '0' after 12 ns;
  dut : entity work.counter port map (clk, clear, count);
end;
